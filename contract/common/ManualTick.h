#pragma once

#include <atomic>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>

#include "contract/common/TickManager.h"

namespace connector::common {

/// For tests: a clock that stands still until it is moved by hand. While it lives, `getCurrentTick`
/// tells its time, and `periodic` gives it the new timers. Timers that were started before stay on
/// the real clock; those started meanwhile never run again once it is gone. One at a time.
class CONNECTOR_API ManualTick
{
public:
    /// @throws std::logic_error "A ManualTick is alive already."
    explicit ManualTick(long long start = 1'000'000);
    ~ManualTick();

    ManualTick(const ManualTick&) = delete;
    ManualTick& operator=(const ManualTick&) = delete;

    /// Moves the clock on by @p ticks milliseconds. Timers that fall due on the way run on this
    /// thread, in order of time, each at its own tick. One thread at a time moves the clock.
    /// @throws std::invalid_argument "Time does not run backwards."
    void advance(long long ticks);

private:
    friend long long getCurrentTick() noexcept;
    friend std::shared_ptr<TickManager::Canceller> periodic(std::function<void(long long)> function,
                                                            long long ticks);

    static constexpr long long kNone = std::numeric_limits<long long>::min();

    /// The manager of the living one, else null.
    static std::shared_ptr<TickManager> current();

    static std::atomic<long long> tick_; ///< kNone while none lives.
    static std::mutex mutex_;            ///< Guards manager_.
    static std::shared_ptr<TickManager> manager_;
};

} // namespace connector::common
