#include "contract/common/LogRateLimit.h"

#include <string>
#include <utility>

#include "contract/common/Tick.h"

namespace connector::common {

namespace {

constexpr long long kMinuteMs = 60'000;

} // namespace

bool LogRateLimit::admits(const Log& log, Level level) noexcept
{
    if (!log.enabled(level)) {
        return false;
    }
    const auto suppressed = admit();
    if (suppressed.value_or(0) > 0) {
        log.write(level, "Suppressed records like the next: ", std::to_string(*suppressed));
    }
    return suppressed.has_value();
}

std::optional<std::uint64_t> LogRateLimit::admit() noexcept
{
    const auto now = getCurrentTick();
    const std::lock_guard lock(mutex_);
    if (!minuteBegin_ || now - *minuteBegin_ >= kMinuteMs) {
        minuteBegin_ = now;
        admitted_ = 0;
    }
    if (admitted_ == limit_) {
        ++suppressed_;
        return std::nullopt;
    }
    ++admitted_;
    return std::exchange(suppressed_, 0);
}

} // namespace connector::common
