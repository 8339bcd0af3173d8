#include "host/MallocSettings.h"

#include <fstream>
#include <malloc.h>
#include <unistd.h>

#include "contract/common/Tick.h"

namespace connector::host {

namespace {

/// Bigger blocks are mapped one by one. The most that malloc accepts.
constexpr int kMapThresholdBytes = 32 << 20;

/// So much free memory at the end of each arena stays with the process until the next trim.
constexpr int kTrimThresholdBytes = 16 << 20;

/// Fewer arenas hold less free memory; with more of them threads wait less for each other.
constexpr int kArenas = 16;

constexpr long long kTrimIntervalMs = 4000;

/// So much free memory is never returned.
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

void trimIfMuch()
{
    const auto allocated = ::mallinfo2();
    if (anonymousBytes() > allocated.uordblks + allocated.hblkhd + kKeptBytes) {
        ::malloc_trim(0);
    }
}

} // namespace

void applyMallocSettings() noexcept
{
    mallopt(M_MMAP_THRESHOLD, kMapThresholdBytes);
    mallopt(M_TRIM_THRESHOLD, kTrimThresholdBytes);
    mallopt(M_ARENA_MAX, kArenas);
}

std::shared_ptr<common::TickManager::Canceller> trimMallocPeriodically()
{
    return common::periodic([](long long) { trimIfMuch(); }, kTrimIntervalMs);
}

} // namespace connector::host
