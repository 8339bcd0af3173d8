#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "server/net/Session.h"

namespace connector::http::net {

/// The sessions of a loop, their pending events and their deadlines.
///
/// Events may be raised by any thread at any time. The thread whose `raise` finds the session idle
/// has to see that it is run; until that run has ended, further events are only noted, and the same
/// thread handles them. So a session never runs on two threads at once, without a lock.
///
/// A slot is reused, but never freed before the table: a key of a session that has ended is told
/// by its generation.
class SessionTable
{
public:
    /// @param capacity the most sessions at a time.
    explicit SessionTable(std::size_t capacity);
    ~SessionTable();

    SessionTable(const SessionTable&) = delete;
    SessionTable& operator=(const SessionTable&) = delete;

    /// Takes a session in.
    /// @return nothing if the table is full; the session is left alone then.
    std::optional<Key> add(EventLoop& loop, std::unique_ptr<Session>& session);

    /// Notes events.
    /// @return whether the caller has to see that the session is run.
    [[nodiscard]] bool raise(Key key, Events events) noexcept;

    /// Leaves a session that `raise` has told to run to whichever thread calls `dequeue`. Needs no
    /// memory.
    void enqueue(Key key) noexcept;

    /// The next session to run; nothing if there is none.
    std::optional<Key> dequeue() noexcept;

    [[nodiscard]] bool hasQueued() const noexcept { return queued_ > 0; }

    /// Runs a session once. Destroys it if it has ended.
    /// @return whether it has got events meanwhile: the caller has to see that it is run again.
    [[nodiscard]] bool run(Key key, std::span<char> scratch) noexcept;

    /// @param deadline of a session that is running on the calling thread.
    void setDeadline(Key key, Clock::time_point deadline) noexcept;

    void setIdleSince(Key key, Clock::time_point since) noexcept;

    /// The session that has been idle for longest, which does not count as idle any more; nothing
    /// if none is.
    std::optional<Key> takeLongestIdle() noexcept;

    /// Clears the deadlines that have passed.
    /// @param isDue is called with each session that had one.
    /// @return the next deadline.
    Clock::time_point expire(Clock::time_point now, const std::function<void(Key)>& isDue);

    /// Calls @p function with every session.
    void forEach(const std::function<void(Key)>& function);

    [[nodiscard]] std::size_t size() const noexcept { return size_; }

    /// Blocks until there are at most @p count sessions, or @p limit has passed.
    /// @return whether there are.
    bool waitForAtMost(std::size_t count, std::chrono::milliseconds limit);

private:
    struct Slot;
    struct Chunk;

    static constexpr std::uint32_t kChunkSize = 256;

    Slot& slot(std::uint32_t index) const noexcept;
    void end(Slot& slot, Key key) noexcept;

    const std::size_t capacity_;
    const std::unique_ptr<std::atomic<Chunk*>[]> chunks_;
    std::atomic<std::uint32_t> used_ = 0; ///< Slots that were ever used.
    std::atomic<std::size_t> size_ = 0;

    std::mutex queueMutex_; ///< Guards the list of slots that are queued: these two, its links.
    std::uint32_t queueFirst_;
    std::uint32_t queueLast_;
    std::atomic<std::size_t> queued_ = 0;

    std::mutex mutex_;        ///< Guards what follows, and the waiters for `size_`.
    std::uint32_t firstFree_; ///< Of the list of slots that can be used again.
    std::condition_variable changed_;
    std::size_t waiters_ = 0;
};

} // namespace connector::http::net
