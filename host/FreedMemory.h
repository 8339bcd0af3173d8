#pragma once

#include <memory>

#include "contract/common/TickManager.h"

namespace connector::host {

/// Lets the allocator keep what is freed within bounds, instead of returning every big buffer to
/// the system. Once, before any other thread is made.
void keepFreedMemory() noexcept;

/// Returns to the system every few seconds what has been kept, where it is much.
/// @return the timer; it ends with its handle.
[[nodiscard]] std::shared_ptr<common::TickManager::Canceller> returnFreedMemoryLater();

} // namespace connector::host
