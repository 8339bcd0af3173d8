#pragma once

#include <memory>

#include "contract/common/TickManager.h"

namespace connector::host {

/// Has malloc keep freed memory within bounds, instead of returning every big block to the system:
/// bodies and messages are whole buffers, and to map each afresh costs a page fault for each page.
/// To be called once, before any other thread is made.
void applyMallocSettings() noexcept;

/// Returns free memory to the system every few seconds, where it is much.
/// @return the timer; it ends with its handle.
[[nodiscard]] std::shared_ptr<common::TickManager::Canceller> trimMallocPeriodically();

} // namespace connector::host
