#pragma once

namespace connector::host {

/// Lets the allocator keep what is freed within bounds, instead of returning every big buffer to
/// the system. Once, before any other thread is made.
void keepFreedMemory() noexcept;

} // namespace connector::host
