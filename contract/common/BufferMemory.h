#pragma once

#include <cstddef>
#include <memory>

#include "contract/common/Export.h"

namespace connector::common {

/// The memory of data buffers: the allocator's, and from some megabytes on blocks of huge pages
/// that are used again. The first touch of fresh pages is most of the work of a big body: a read of
/// 10 MB took 2.8 ms into fresh small pages, 1.2 ms into fresh huge ones and 0.95 ms into used
/// ones. Thread-safe.
struct CONNECTOR_API BufferMemory
{
    /// From this size on a block is large.
    static constexpr std::size_t kLargeBytes = std::size_t{4} << 20;

    /// So much in freed large blocks is kept to be used again; and as much as brings what is kept
    /// and in use to what was in use at once since the last `releaseKept`.
    static constexpr std::size_t kKeptBytes = std::size_t{32} << 20;

    /// Knows by the size where the memory is from.
    struct Free
    {
        std::size_t capacity = 0;
        void operator()(char* bytes) const noexcept;
    };

    using Ptr = std::unique_ptr<char[], Free>;

    /// @return uninitialised memory of @p size bytes; where that is large, of up to a quarter more.
    /// @throws std::bad_alloc without memory.
    static Ptr allocate(std::size_t size);

    /// Gives the freed large blocks back to the system. To be called now and then, once a burst of
    /// big bodies may be over.
    static void releaseKept() noexcept;
};

} // namespace connector::common
