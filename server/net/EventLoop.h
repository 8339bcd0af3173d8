#pragma once

#include <Poco/RunnableAdapter.h>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "contract/common/FileDescriptor.h"
#include "server/net/SessionTable.h"
#include "server/net/Supervisor.h"

namespace Poco {
class ThreadPool;
}

namespace connector::http::net {

class Worker;

/// How an event loop uses its threads.
struct EventLoopSettings
{
    /// All threads, those that block among them.
    std::size_t maxThreads = 64;
    /// All sessions.
    std::size_t maxSessions = 10'000;
    /// The most threads that wait for events or handle one; 0 for as many as there are cores, at
    /// least two: the second one goes on while the first is in a provider's code.
    std::size_t activeThreads = 0;
};

/// Runs sessions on the threads of a pool, whenever their descriptors have events.
///
/// A thread that finds an event runs its session, without handing it over. A session runs for a
/// bounded time; one that has more to do is queued behind the others.
///
/// Active threads wait for events or handle them: one while events come one at a time, as many as
/// there are cores once events have to wait. If two waited for few events, each would often be
/// woken although the other one was about to look.
///
/// A thread that blocks is not active, and is replaced when no thread waits for events any more: at
/// once if it announces it (`common::announceBlocking`), else after a few milliseconds, by the
/// supervisor. More than `maxThreads` never run; what comes then waits in the sockets.
///
/// Any thread may call any operation. Locks: none is held while a session runs, and none is taken
/// while another is held.
class EventLoop : public std::enable_shared_from_this<EventLoop>
{
public:
    /// @param pool its threads run the sessions; outlives `stop`.
    EventLoop(Poco::ThreadPool& pool, const EventLoopSettings& settings);

    /// There must be no threads any more.
    ~EventLoop();

    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    /// Starts the active threads and the supervisor.
    /// @throws std::exception if there is none to be had.
    void start();

    /// Ends all threads, those that handle an event after that. Sessions are left alone.
    void stop();

    /// Takes a session over and watches its descriptor.
    /// @return false if there are too many; the session is destroyed then.
    /// @throws std::system_error if the descriptor cannot be watched.
    bool add(std::unique_ptr<Session> session);

    /// Has a session run with @p events.
    void raise(Key key, Events events) noexcept;

    /// Has every session run with @p events.
    void raiseAll(Events events);

    /// @param deadline of a session that runs on the calling thread.
    void setDeadline(Key key, Clock::time_point deadline) noexcept;

    void setIdleSince(Key key, Clock::time_point since) noexcept
    {
        table_.setIdleSince(key, since);
    }

    /// Has the session that has been idle for longest make room.
    /// @return false if none is idle.
    bool makeRoom() noexcept;

    [[nodiscard]] std::size_t sessions() const noexcept { return table_.size(); }

    /// Blocks until there are at most @p count sessions, or @p limit has passed.
    bool waitForAtMost(std::size_t count, std::chrono::milliseconds limit)
    {
        return table_.waitForAtMost(count, limit);
    }

private:
    friend class Worker;
    friend class Supervisor;

    void work();
    std::optional<Key> next(Worker& worker);
    std::optional<Key> takeQueued(Worker& worker);
    void passQueuedOn() noexcept;
    std::optional<Key> awaitEvent(Worker& worker);
    std::optional<Key> takeEvent(int timeout);
    void wakeThread() noexcept;
    /// Has a thread wait for events if there is none: starts one, or has the supervisor look after
    /// those that are busy.
    void ensureWaitingThread() noexcept;
    void startThread() noexcept;
    bool claimActive() noexcept;
    bool releaseSurplus() noexcept;
    void releaseActive() noexcept;

    Poco::ThreadPool& pool_;
    const std::size_t maxActive_;
    const std::size_t maxThreads_;
    SessionTable table_;
    Poco::RunnableAdapter<EventLoop> work_;
    common::FileDescriptor
        epoll_; ///< An epoll descriptor: tells of the events of the sessions' descriptors.
    common::FileDescriptor wakeup_; ///< An eventfd in it: wakes a thread that waits for events.

    std::atomic<bool> stopped_ = false;
    std::atomic<std::size_t> waiting_ = 0;      ///< Threads that wait for events.
    std::atomic<std::size_t> active_ = 0;       ///< Threads that do not block.
    std::atomic<std::size_t> activeTarget_ = 1; ///< How many threads are to be active.
    std::atomic<std::size_t> threads_ = 0;

    std::mutex threadsMutex_; ///< Guards workers_, and the waiters for `threads_`.
    std::condition_variable threadEnded_;
    std::vector<Worker*> workers_;

    Supervisor supervisor_;
};

} // namespace connector::http::net
