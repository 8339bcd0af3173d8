#include "host/FreedMemory.h"

#include <malloc.h>

namespace connector::host {

namespace {

// Bodies are whole buffers. By default the allocator maps each big one afresh and unmaps it when it
// is freed, and every page of a fresh mapping costs a fault: up to 30 microseconds each in a
// virtual machine, which makes a message of 1 MB cost milliseconds.

/// Bigger blocks are mapped one by one. The most that the allocator accepts.
constexpr int kMapThresholdBytes = 32 << 20;

/// So much free memory at the end of each arena stays with the process.
constexpr int kTrimThresholdBytes = 16 << 20;

/// Fewer arenas find a freed buffer of another thread; more wait less for each other.
constexpr int kArenas = 2;

} // namespace

void keepFreedMemory() noexcept
{
    mallopt(M_MMAP_THRESHOLD, kMapThresholdBytes);
    mallopt(M_TRIM_THRESHOLD, kTrimThresholdBytes);
    mallopt(M_ARENA_MAX, kArenas);
}

} // namespace connector::host
