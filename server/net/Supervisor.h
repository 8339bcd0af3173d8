#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "server/net/Session.h"

namespace connector::http::net {

class EventLoop;

/// The thread of an event loop that looks at the clock: raises the deadlines of the sessions, and
/// finds active threads that block without having announced it. It sleeps while no deadline is near
/// and a thread waits for events.
class Supervisor
{
public:
    explicit Supervisor(EventLoop& loop) noexcept : loop_(loop) {}
    ~Supervisor() { stop(); }

    Supervisor(const Supervisor&) = delete;
    Supervisor& operator=(const Supervisor&) = delete;

    /// @throws std::system_error if there is no thread to be had.
    void start();
    void stop();

    /// Has the deadlines looked at by @p deadline. Any thread. Cheap unless it is the earliest one.
    void ensureScanBy(Clock::time_point deadline) noexcept
    {
        if (deadline.time_since_epoch().count() < nextScan_.load()) {
            advanceScan(deadline);
        }
    }

    /// All active threads are busy. Any thread. Cheap while the supervisor watches.
    void watch() noexcept
    {
        if (!busy_.load()) { // no write to a shared cache line for each event
            busy_ = true;
        }
        if (!watching_.load()) {
            beginWatch();
        }
    }

private:
    void run();
    void advanceScan(Clock::time_point deadline) noexcept;
    void beginWatch() noexcept;
    void scan(Clock::time_point now);
    [[nodiscard]] Clock::time_point nextScan() const noexcept
    {
        return Clock::time_point(Clock::duration(nextScan_));
    }

    EventLoop& loop_;
    std::atomic<Clock::rep> nextScan_{Clock::duration::max().count()};
    std::atomic<bool> busy_ = false;     ///< All active threads were busy since the last check.
    std::atomic<bool> watching_ = false; ///< Checks the threads every few milliseconds.

    std::mutex mutex_; ///< Guards what follows, and changes of the atomics that `run` waits for.
    std::condition_variable changed_;
    bool stopped_ = false;
    std::thread thread_;
};

} // namespace connector::http::net
