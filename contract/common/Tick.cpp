#include "contract/common/Tick.h"

#include <chrono>

#include "contract/common/ManualTick.h"
#include "contract/common/Thread.h"

namespace connector::common {

namespace {

long long steadyTick() noexcept
{
    using std::chrono::milliseconds;
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<milliseconds>(now).count();
}

/// The timers of the process. They and their thread are never destroyed, so that objects may
/// cancel theirs at any time while the process ends.
TickManager& processTimers()
{
    static const auto& manager = *[] {
        auto timers = std::make_shared<TickManager>(&steadyTick);
        startThread("connector-tick", [timers] { timers->run(); }).detach();
        return new std::shared_ptr(std::move(timers)); // kept for ever on purpose
    }();
    return *manager;
}

} // namespace

long long getCurrentTick() noexcept
{
    const long long manual = ManualTick::tick_;
    return manual == ManualTick::kNone ? steadyTick() : manual;
}

std::shared_ptr<TickManager::Canceller> periodic(std::function<void(long long)> function,
                                                 long long ticks)
{
    if (const auto manual = ManualTick::current()) {
        return manual->schedule(std::move(function), ticks);
    }
    return processTimers().schedule(std::move(function), ticks);
}

} // namespace connector::common
