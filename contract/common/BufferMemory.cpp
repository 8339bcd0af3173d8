#include "contract/common/BufferMemory.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <mutex>
#include <new>
#include <sys/mman.h>

namespace connector::common {

namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;

/// Sizes are rounded up to a multiple of this, so that bodies of about a size use the same blocks.
constexpr std::size_t kGranule = std::size_t{64} << 10;

void unmap(char* bytes, std::size_t size) noexcept
{
    if (size > 0) {
        ::munmap(bytes, size);
    }
}

/// Maps memory that begins with a whole huge page.
char* map(std::size_t size)
{
    const auto mapped = size + kHugePage;
    void* const begin =
        ::mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (begin == MAP_FAILED) {
        throw std::bad_alloc();
    }
    auto* const first = static_cast<char*>(begin);
    const auto past = reinterpret_cast<std::uintptr_t>(first) % kHugePage;
    const auto skipped = past == 0 ? 0 : kHugePage - past;
    unmap(first, skipped);
    unmap(first + skipped + size, kHugePage - skipped);
    ::madvise(first + skipped, size, MADV_HUGEPAGE); // advice: it may fail
    return first + skipped;
}

struct Block
{
    char* bytes = nullptr;
    std::size_t capacity = 0;
};

/// The freed blocks that wait to be used again, the latest at the end. Never destroyed, as bodies
/// may outlive everything.
class KeptBlocks
{
public:
    /// Takes the latest block that fits. @return one without bytes if there is none.
    Block take(std::size_t size) noexcept
    {
        const std::lock_guard lock(mutex_);
        for (auto i = count_; i > 0; --i) {
            const auto capacity = blocks_[i - 1].capacity;
            if (capacity >= size && capacity - size <= size / 4) {
                std::rotate(blocks_.begin() + i - 1, blocks_.begin() + i, blocks_.begin() + count_);
                bytes_ -= capacity;
                return blocks_[--count_];
            }
        }
        return {};
    }

    /// @return false where there is no room for it.
    bool keep(Block block) noexcept
    {
        const std::lock_guard lock(mutex_);
        if (bytes_ + block.capacity > BufferMemory::kMostKeptBytes) {
            return false;
        }
        bytes_ += block.capacity;
        blocks_[count_++] = block;
        return true;
    }

    /// Takes any block. @return one without bytes if there is none.
    Block takeAny() noexcept
    {
        const std::lock_guard lock(mutex_);
        if (count_ == 0) {
            return {};
        }
        bytes_ -= blocks_[--count_].capacity;
        return blocks_[count_];
    }

private:
    std::mutex mutex_; ///< Guards what follows.
    std::array<Block, BufferMemory::kMostKeptBytes / BufferMemory::kLargeBytes> blocks_;
    std::size_t count_ = 0;
    std::size_t bytes_ = 0;
};

constinit KeptBlocks kept;

} // namespace

BufferMemory::Ptr BufferMemory::allocate(std::size_t size)
{
    if (size < kLargeBytes) {
        return {std::make_unique_for_overwrite<char[]>(size).release(), Free{size}};
    }
    if (const auto [bytes, capacity] = kept.take(size); bytes != nullptr) {
        return {bytes, Free{capacity}};
    }
    if (size > std::numeric_limits<std::size_t>::max() / 2) {
        throw std::bad_alloc();
    }
    const auto capacity = (size + kGranule - 1) / kGranule * kGranule;
    return {map(capacity), Free{capacity}};
}

void BufferMemory::releaseKept() noexcept
{
    for (auto block = kept.takeAny(); block.bytes != nullptr; block = kept.takeAny()) {
        unmap(block.bytes, block.capacity);
    }
}

void BufferMemory::Free::operator()(char* bytes) const noexcept
{
    if (capacity < kLargeBytes) {
        std::default_delete<char[]>()(bytes);
    } else if (!kept.keep({bytes, capacity})) {
        unmap(bytes, capacity);
    }
}

} // namespace connector::common
