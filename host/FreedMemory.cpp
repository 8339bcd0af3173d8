#include "host/FreedMemory.h"

#include <fstream>
#include <malloc.h>
#include <unistd.h>

#include "contract/common/Tick.h"

namespace connector::host {

namespace {

// Bodies are whole buffers. By default the allocator maps each big one afresh and unmaps it when it
// is freed, and every page of a fresh mapping costs a fault: up to 30 microseconds each in a
// virtual machine, which makes a message of 1 MB cost milliseconds.

/// Bigger blocks are mapped one by one. The most that the allocator accepts.
constexpr int kMapThresholdBytes = 32 << 20;

/// So much free memory at the end of each arena stays with the process until it is looked at.
constexpr int kTrimThresholdBytes = 16 << 20;

/// Fewer arenas find a freed buffer of another thread; more wait less for each other. With 2 a file
/// of 1 KB cost a tenth more than with 16.
constexpr int kArenas = 16;

constexpr long long kLookEveryMs = 4000;

/// So much free memory stays with the process for good.
constexpr std::size_t kKeptBytes = std::size_t{16} << 20;

/// The memory of the process that no file stands behind.
std::size_t anonymousBytes()
{
    std::ifstream statm("/proc/self/statm");
    std::size_t total = 0;
    std::size_t resident = 0;
    std::size_t shared = 0;
    statm >> total >> resident >> shared;
    return (resident - shared) * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

void returnIfMuch()
{
    const auto allocated = ::mallinfo2();
    if (anonymousBytes() > allocated.uordblks + allocated.hblkhd + kKeptBytes) {
        ::malloc_trim(0);
    }
}

} // namespace

void keepFreedMemory() noexcept
{
    mallopt(M_MMAP_THRESHOLD, kMapThresholdBytes);
    mallopt(M_TRIM_THRESHOLD, kTrimThresholdBytes);
    mallopt(M_ARENA_MAX, kArenas);
}

std::shared_ptr<common::TickManager::Canceller> returnFreedMemoryLater()
{
    return common::periodic([](long long) { returnIfMuch(); }, kLookEveryMs);
}

} // namespace connector::host
