#pragma once

#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

#include "contract/common/FileDescriptor.h"

namespace connector::host {

/// Exit status of a program that did not end in time.
inline constexpr int kForcedEnd = 3;

/// The end of the program: asked for by a signal or `request()`, and reached within a bounded time.
/// Make it before any other thread, which then inherits the blocked signals, and let everything
/// else end before it.
///
/// Should the program still be there 1.8 seconds after the request, a line on standard error names
/// what did not end and the process ends with status 3: no client and no provider may keep an
/// operator waiting.
class Shutdown
{
public:
    /// Takes SIGINT and SIGTERM as requests, and SIGHUP, SIGUSR1, SIGUSR2 and SIGALRM unless they
    /// are ignored, as nohup has it. They are blocked for this thread and those made after it.
    /// Ignores SIGPIPE: a client or a reader of our output that goes away is an error of that write
    /// alone.
    /// @throws std::system_error if the system has no descriptors left.
    Shutdown();

    /// The program came to its end; the time limit is lifted.
    ~Shutdown();

    Shutdown(const Shutdown&) = delete;
    Shutdown& operator=(const Shutdown&) = delete;

    /// Asks for the end. Any thread; does not block. Calls after the first do nothing.
    void request() noexcept;

    /// Stopped once the end was asked for.
    [[nodiscard]] std::stop_token token() const noexcept { return requested_.get_token(); }

    /// Becomes readable once the end was asked for, for those who wait in `poll`.
    [[nodiscard]] int descriptor() const noexcept { return event_.get(); }

    /// Blocks until the end was asked for.
    void wait() const;

    /// Says what is to end next, for the line that a forced end writes; "the start" until the first
    /// call. Any thread.
    void ending(const std::string& what);

private:
    void watch();

    common::FileDescriptor signals_;
    common::FileDescriptor event_;
    std::stop_source requested_;
    std::mutex mutex_; ///< Guards the next two.
    bool ended_ = false;
    std::string lateLine_; ///< Built in advance: a forced end may find no memory.
    std::condition_variable changed_;
    std::thread watcher_;
};

} // namespace connector::host
