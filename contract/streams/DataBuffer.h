#pragma once

#include <cstddef>
#include <string_view>

#include "contract/common/BufferMemory.h"
#include "contract/common/Export.h"

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

    DataBuffer(DataBuffer&& other) noexcept;
    DataBuffer& operator=(DataBuffer&& other) noexcept;
    ~DataBuffer() = default;

    /// A copy of the bytes in a buffer of their size.
    [[nodiscard]] DataBuffer clone() const { return DataBuffer(view()); }

    /// The bytes. Never null: an empty buffer is given a capacity of at least 8 bytes first.
    char* data();

    [[nodiscard]] std::size_t size() const noexcept { return size_; }
    [[nodiscard]] std::size_t capacity() const noexcept { return bytes_.get_deleter().capacity; }
    [[nodiscard]] bool empty() const noexcept { return size_ == 0; }

    /// The bytes as text; valid until the buffer changes.
    [[nodiscard]] std::string_view view() const noexcept { return {bytes_.get(), size_}; }

    /// Makes room for at least @p capacity bytes in all; exactly that many if the buffer grows and
    /// is not large (see BufferMemory).
    void reserve(std::size_t capacity);

    /// Sets the size. Bytes that this adds are not initialised; the capacity at least doubles when
    /// it must grow.
    void resize(std::size_t size);

    /// Appends @p bytes, which must not lie in this buffer.
    void append(std::string_view bytes);

    /// Drops the bytes and keeps the capacity.
    void clear() noexcept { size_ = 0; }

private:
    BufferMemory::Ptr bytes_;
    std::size_t size_ = 0;
};

/// Joins two buffers. Where one is empty, the other is passed through and no byte is copied.
CONNECTOR_API DataBuffer concatenate(DataBuffer&& first, DataBuffer&& second);

} // namespace connector::common
