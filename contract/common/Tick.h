#pragma once

#include <functional>
#include <memory>

#include "contract/common/TickManager.h"

namespace connector::common {

/// A monotonic count of milliseconds, for ages and expiry. Follows the hand-moved clock while a
/// ManualTick lives.
[[nodiscard]] CONNECTOR_API long long getCurrentTick() noexcept;

/// Runs @p function each time @p ticks have passed, first after @p ticks, and passes the current
/// tick. It runs on the one tick thread of the process, which the first timer starts: it must not
/// block long, since all other timers wait for it. Calls that are late by whole periods are left
/// out, not made up for. What it throws is logged, and the timer goes on.
///
/// While a ManualTick lives, the new timer belongs to its clock instead.
///
/// @param ticks in milliseconds, at least 1.
/// @return the handle of the timer, which ends when the handle is cancelled or dropped.
/// @throws std::invalid_argument "A timer needs a function and a period of at least one tick."
[[nodiscard]] CONNECTOR_API std::shared_ptr<TickManager::Canceller>
periodic(std::function<void(long long)> function, long long ticks);

} // namespace connector::common
