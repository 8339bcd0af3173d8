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

struct Block
{
    char* bytes = nullptr;
    std::size_t capacity = 0;
};

void unmap(Block block) noexcept
{
    if (block.capacity > 0) {
        ::munmap(block.bytes, block.capacity);
    }
}

/// Maps memory that begins with a whole huge page. @return null without memory.
char* map(std::size_t size)
{
    const auto mapped = size + kHugePage;
    void* const begin =
        ::mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (begin == MAP_FAILED) {
        return nullptr;
    }
    auto* const first = static_cast<char*>(begin);
    const auto past = reinterpret_cast<std::uintptr_t>(first) % kHugePage;
    const auto skipped = past == 0 ? 0 : kHugePage - past;
    unmap({first, skipped});
    unmap({first + skipped + size, kHugePage - skipped});
    ::madvise(first + skipped, size, MADV_HUGEPAGE); // advice: it may fail
    return first + skipped;
}

/// The freed blocks that wait to be used again, the latest at the end. Never destroyed, as bodies
/// may outlive everything.
class KeptBlocks
{
public:
    /// Takes the latest block that fits, for use. @return one without bytes if there is none.
    Block take(std::size_t size) noexcept
    {
        const std::lock_guard lock(mutex_);
        for (auto i = count_; i > 0; --i) {
            const auto capacity = blocks_[i - 1].capacity;
            if (capacity >= size && capacity - size <= size / 4) {
                addUsed(capacity);
                return takeAt(i - 1);
            }
        }
        return {};
    }

    /// A new block is in use.
    void noteUse(std::size_t capacity) noexcept
    {
        const std::lock_guard lock(mutex_);
        addUsed(capacity);
    }

    /// Keeps a block that is no longer in use. @return the block itself where there is no room.
    Block keep(Block block) noexcept
    {
        const std::lock_guard lock(mutex_);
        usedBytes_ -= block.capacity;
        if (count_ == blocks_.size()) {
            return block;
        }
        blocks_[count_++] = block;
        bytes_ += block.capacity;
        return {};
    }

    /// Takes the block that has waited longest, if more is kept than @p allowed, and than was ever
    /// in use at once beside it. @return one without bytes if not.
    Block takeSurplus(std::size_t allowed) noexcept
    {
        const std::lock_guard lock(mutex_);
        return bytes_ > allowed && bytes_ + usedBytes_ > mostUsedBytes_ ? takeAt(0) : Block();
    }

    /// Takes any block, and forgets what was in use at once.
    /// @return one without bytes if there is none.
    Block takeAny() noexcept
    {
        const std::lock_guard lock(mutex_);
        mostUsedBytes_ = usedBytes_;
        return count_ > 0 ? takeAt(count_ - 1) : Block();
    }

private:
    void addUsed(std::size_t capacity) noexcept
    {
        usedBytes_ += capacity;
        mostUsedBytes_ = std::max(mostUsedBytes_, usedBytes_);
    }

    Block takeAt(std::size_t index) noexcept
    {
        auto* const taken = blocks_.begin() + index;
        std::rotate(taken, taken + 1, blocks_.begin() + count_);
        bytes_ -= blocks_[--count_].capacity;
        return blocks_[count_];
    }

    static constexpr std::size_t kMostBlocks = 64;

    std::mutex mutex_; ///< Guards what follows.
    std::array<Block, kMostBlocks> blocks_;
    std::size_t count_ = 0;
    std::size_t bytes_ = 0; ///< Of the blocks here.
    std::size_t usedBytes_ = 0;
    std::size_t mostUsedBytes_ = 0; ///< At once, since the last release of all.
};

constinit KeptBlocks kept;

void unmapSurplus() noexcept
{
    for (auto block = kept.takeSurplus(BufferMemory::kKeptBytes); block.bytes != nullptr;
         block = kept.takeSurplus(BufferMemory::kKeptBytes)) {
        unmap(block);
    }
}

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
    auto* bytes = map(capacity);
    if (bytes == nullptr) {
        releaseKept();
        bytes = map(capacity);
    }
    if (bytes == nullptr) {
        throw std::bad_alloc();
    }
    kept.noteUse(capacity);
    unmapSurplus();
    return {bytes, Free{capacity}};
}

void BufferMemory::releaseKept() noexcept
{
    for (auto block = kept.takeAny(); block.bytes != nullptr; block = kept.takeAny()) {
        unmap(block);
    }
}

void BufferMemory::Free::operator()(char* bytes) const noexcept
{
    if (capacity < kLargeBytes) {
        std::default_delete<char[]>()(bytes);
        return;
    }
    unmap(kept.keep({bytes, capacity}));
    unmapSurplus();
}

} // namespace connector::common
