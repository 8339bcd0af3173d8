#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "contract/common/Export.h"
#include "contract/common/MemoryBudget.h"

namespace connector::common {

/// A growable buffer of owned bytes: the unit of body data. Moved along streams, never shared;
/// a copy is made by `clone()` alone, so that none happens by accident. Not synchronised.
class CONNECTOR_API DataBuffer
{
public:
    DataBuffer() = default;

    /// A buffer of @p size bytes whose content is not initialised yet.
    /// @throws std::bad_alloc without memory; so does every operation that grows the buffer.
    explicit DataBuffer(std::size_t size);

    /// A buffer that holds a copy of @p bytes.
    explicit DataBuffer(std::string_view bytes);

    /// An empty buffer whose memory counts against @p budget until it is freed. Every operation
    /// that grows it throws MemoryBudgetExceeded where the budget does not allow it.
    /// @param budget may be null: unbounded.
    explicit DataBuffer(std::shared_ptr<MemoryBudget> budget) noexcept;

    DataBuffer(DataBuffer&& other) noexcept;
    DataBuffer& operator=(DataBuffer&& other) noexcept;
    ~DataBuffer();

    /// A copy of the bytes in a buffer of their size.
    [[nodiscard]] DataBuffer clone() const { return DataBuffer(view()); }

    /// The bytes. Never null: an empty buffer is given a capacity of at least 8 bytes first.
    char* data();

    [[nodiscard]] std::size_t size() const noexcept { return size_; }
    [[nodiscard]] std::size_t capacity() const noexcept { return capacity_; }
    [[nodiscard]] bool empty() const noexcept { return size_ == 0; }

    /// The bytes as text; valid until the buffer changes.
    [[nodiscard]] std::string_view view() const noexcept { return {bytes_.get(), size_}; }

    /// Makes room for @p capacity bytes in all; exactly that many if the buffer grows.
    void reserve(std::size_t capacity);

    /// Makes room for @p needed bytes in all of something that is announced to have @p announced
    /// bytes and arrives in pieces: the capacity at least doubles when it must grow, but not beyond
    /// what was announced. So memory follows what has arrived.
    void reserveTowards(std::size_t needed, std::uint64_t announced);

    /// Sets the size. Bytes that this adds are not initialised; the capacity at least doubles when
    /// it must grow.
    void resize(std::size_t size);

    /// Appends @p bytes, which must not lie in this buffer.
    void append(std::string_view bytes);

    /// Drops the bytes and keeps the capacity.
    void clear() noexcept { size_ = 0; }

private:
    struct Free
    {
        void operator()(char* bytes) const noexcept { std::free(bytes); }
    };

    std::unique_ptr<char, Free> bytes_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
    std::shared_ptr<MemoryBudget> budget_; ///< Null: none.
};

/// Joins two buffers. Where one is empty, the other is passed through and no byte is copied.
CONNECTOR_API DataBuffer concatenate(DataBuffer&& first, DataBuffer&& second);

} // namespace connector::common
