#pragma once

#include <array>
#include <atomic>
#include <cstddef>

namespace connector::common {

/// Several copies of what all threads use all the time, so that they do not fight for one: each
/// thread has its own, which only some others share. Each copy still needs a lock.
template <typename T>
class ThreadSlots
{
public:
    /// The copy of the calling thread.
    T& mine() noexcept { return slots_[threadNumber() % kSlots].value; }

    auto begin() noexcept { return slots_.begin(); }
    auto end() noexcept { return slots_.end(); }

private:
    static constexpr std::size_t kSlots = 16;
    static constexpr std::size_t kCacheLineBytes = 64;

    struct alignas(kCacheLineBytes) Slot
    {
        T value;
    };

    static std::size_t threadNumber() noexcept
    {
        static std::atomic<std::size_t> threads = 0;
        thread_local const std::size_t number = threads++;
        return number;
    }

    std::array<Slot, kSlots> slots_;
};

} // namespace connector::common
