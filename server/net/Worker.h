#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

#include "contract/common/Blocking.h"

namespace connector::http::net {

class EventLoop;

/// One thread of an event loop, while it is one.
class Worker final : public common::BlockingListener
{
public:
    /// Makes the calling thread a worker, an active one.
    explicit Worker(EventLoop& loop);
    ~Worker() override;

    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// An event begins and ends; between the two the thread may block.
    void beginEvent() noexcept { turn_.store(++ownTurn_, std::memory_order_relaxed); }

    /// @return whether the thread is still needed: it has not been replaced meanwhile, and there
    ///         are not more active ones than are wanted.
    bool endEvent() noexcept
    {
        turn_.store(++ownTurn_, std::memory_order_relaxed);
        if (!isActive_.load(std::memory_order_relaxed)) {
            return becomeActive();
        }
        return !isSurplus() || !leaveSurplus();
    }

    /// Events had to wait.
    void noteBacklog() noexcept { withoutBacklog_ = 0; }

    /// An event came alone.
    /// @return whether so many did in a row that one active thread is enough.
    [[nodiscard]] bool noteLoneEvent() noexcept;

    void onBlocking() noexcept override;

    /// Queued sessions and new events take turns.
    /// @return whether it is the turn of a new event.
    [[nodiscard]] bool switchTurn() noexcept { return eventsTurn_ = !eventsTurn_; }

    [[nodiscard]] std::span<char> scratch() noexcept { return scratch_; }

    /// Replaces the workers that are in the same turn as at the last call. Called by the
    /// supervisor.
    static void replaceBlocked(EventLoop& loop);

private:
    static constexpr std::size_t kScratchSize = std::size_t{64} << 10U;

    bool becomeActive() noexcept;
    [[nodiscard]] bool isSurplus() const noexcept;
    bool leaveSurplus() noexcept;
    bool leaveActive() noexcept;
    bool isInSameTurn() noexcept;

    EventLoop& loop_;
    std::uint32_t ownTurn_ = 0;
    bool eventsTurn_ = false;             ///< Not the queued sessions'.
    int withoutBacklog_ = 0;              ///< Events in a row that came alone.
    std::atomic<std::uint32_t> turn_ = 0; ///< Odd while an event is handled.
    std::atomic<bool> isActive_ = true;
    std::uint32_t seenTurn_ = 0; ///< By the supervisor.
    std::array<char, kScratchSize> scratch_;
};

} // namespace connector::http::net
