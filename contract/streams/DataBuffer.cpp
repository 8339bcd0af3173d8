#include "contract/streams/DataBuffer.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace connector::common {

namespace {

constexpr std::size_t kMinimumCapacity = 8;

/// What is reserved for the first bytes of more that was announced.
constexpr std::size_t kFirstReservation = std::size_t{64} << 10U;

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

DataBuffer::DataBuffer(std::shared_ptr<MemoryBudget> budget) noexcept : budget_(std::move(budget))
{}

DataBuffer::DataBuffer(DataBuffer&& other) noexcept
{
    *this = std::move(other);
}

DataBuffer& DataBuffer::operator=(DataBuffer&& other) noexcept
{
    if (this != &other) {
        bytes_ = std::move(other.bytes_);
        size_ = std::exchange(other.size_, 0);
        if (budget_ != nullptr) {
            budget_->release(capacity_);
        }
        capacity_ = std::exchange(other.capacity_, 0);
        budget_ = std::move(other.budget_);
    }
    return *this;
}

DataBuffer::~DataBuffer()
{
    if (budget_ != nullptr) {
        budget_->release(capacity_);
    }
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
    if (capacity <= capacity_) {
        return;
    }
    if (budget_ != nullptr) {
        budget_->acquire(capacity - capacity_);
    }
    auto* const grown = static_cast<char*>(std::realloc(bytes_.get(), capacity));
    if (grown == nullptr) {
        if (budget_ != nullptr) {
            budget_->release(capacity - capacity_);
        }
        throw std::bad_alloc();
    }
    static_cast<void>(bytes_.release()); // realloc has freed it
    bytes_.reset(grown);
    capacity_ = capacity;
}

void DataBuffer::reserveTowards(std::size_t needed, std::uint64_t announced)
{
    if (needed > capacity_) {
        const auto larger = std::max({needed, 2 * capacity_, kFirstReservation});
        reserve(std::max<std::size_t>(needed, std::min<std::uint64_t>(larger, announced)));
    }
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
