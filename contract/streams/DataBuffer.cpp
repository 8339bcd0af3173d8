#include "contract/streams/DataBuffer.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace connector::common {

namespace {

constexpr std::size_t kMinimumCapacity = 8;

} // namespace

DataBuffer::DataBuffer(std::size_t size)
{
    if (size > 0) {
        reserve(size);
        size_ = size;
    }
}

DataBuffer::DataBuffer(std::string_view bytes)
{
    append(bytes);
}

DataBuffer::DataBuffer(DataBuffer&& other) noexcept
    : bytes_(std::exchange(other.bytes_, {})), size_(std::exchange(other.size_, 0))
{}

DataBuffer& DataBuffer::operator=(DataBuffer&& other) noexcept
{
    bytes_ = std::exchange(other.bytes_, {});
    size_ = std::exchange(other.size_, 0);
    return *this;
}

char* DataBuffer::data()
{
    if (bytes_ == nullptr) {
        reserve(kMinimumCapacity);
    }
    return bytes_.get();
}

void DataBuffer::reserve(std::size_t capacity)
{
    if (capacity <= this->capacity()) {
        return;
    }
    auto larger = BufferMemory::allocate(capacity);
    if (size_ > 0) {
        std::memcpy(larger.get(), bytes_.get(), size_);
    }
    bytes_ = std::move(larger);
}

void DataBuffer::resize(std::size_t size)
{
    if (size > capacity()) {
        const auto doubled = std::max(kMinimumCapacity, 2 * capacity());
        reserve(std::max(size, doubled));
    }
    size_ = size;
}

void DataBuffer::append(std::string_view bytes)
{
    if (bytes.empty()) {
        return;
    }
    if (bytes.size() > std::numeric_limits<std::size_t>::max() - size_) {
        throw std::bad_alloc();
    }
    if (size_ == 0 && capacity() < bytes.size()) {
        reserve(bytes.size());
    }
    const auto end = size_;
    resize(end + bytes.size());
    std::memcpy(bytes_.get() + end, bytes.data(), bytes.size());
}

DataBuffer concatenate(DataBuffer&& first, DataBuffer&& second)
{
    if (first.empty()) {
        return std::move(second);
    }
    first.append(second.view());
    return std::move(first);
}

} // namespace connector::common
