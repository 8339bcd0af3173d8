#pragma once

#include <array>
#include <cstddef>
#include <sched.h>

namespace connector::common {

/// Several copies of what all threads use all the time, so that they do not fight for one: each
/// processor has its own, whose threads hardly ever meet in it. Each copy still needs a lock, as a
/// thread may be moved to another processor at any time.
template <typename T>
class ProcessorSlots
{
public:
    /// The copy of the processor that the calling thread runs on.
    T& mine() noexcept { return slots_[static_cast<unsigned>(::sched_getcpu()) % kSlots].value; }

    auto begin() noexcept { return slots_.begin(); }
    auto end() noexcept { return slots_.end(); }

private:
    static constexpr std::size_t kSlots = 16;
    static constexpr std::size_t kCacheLineBytes = 64;

    struct alignas(kCacheLineBytes) Slot
    {
        T value;
    };

    std::array<Slot, kSlots> slots_;
};

} // namespace connector::common
