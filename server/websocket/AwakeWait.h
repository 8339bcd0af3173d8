#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>

namespace connector::http::websocket {

/// Waits for a client's next message without sleeping, where that is likely to pay. A client on the
/// same machine answers sooner than a thread is put to sleep and woken: where one such client sends
/// messages of 64 bytes one at a time, 2.5 times as many come through and each takes a tenth less
/// of the processor; with 16 in flight likewise, and a sixth less.
///
/// Not where other WebSockets of the server talk too, whose processor it would take; and seldom
/// where it was in vain, as with all clients that are farther away. Used by one thread.
class AwakeWait
{
public:
    /// Whose turn was the last one, of the connections that take turns.
    using LastTurn = std::atomic<const AwakeWait*>;

    /// @param lastTurn outlives the calls of `waitUntil`.
    explicit AwakeWait(LastTurn& lastTurn) : lastTurn_(lastTurn) {}

    /// Looks again and again until @p look finds something, for 40 microseconds; or not at all.
    /// @return whether something was found.
    template <typename Look>
    bool waitUntil(Look&& look)
    {
        const auto alone = lastTurn_.exchange(this, std::memory_order_relaxed) == this;
        if (skipped_ < skips_) {
            ++skipped_;
            return false;
        }
        if (!alone) {
            return false;
        }
        const auto end = Clock::now() + kTime;
        do {
            if (look()) {
                skips_ = 0;
                return true;
            }
        } while (Clock::now() < end);
        skips_ = std::clamp(2 * skips_, 1, kMostSkips);
        skipped_ = 0;
        return false;
    }

private:
    using Clock = std::chrono::steady_clock;

    /// About what it costs to sleep and be woken.
    static constexpr std::chrono::microseconds kTime{40};
    static constexpr int kMostSkips = 256;

    LastTurn& lastTurn_;
    int skips_ = 0; ///< As many turns are left out, twice as many each time it was in vain.
    int skipped_ = 0;
};

} // namespace connector::http::websocket
