#pragma once

#include <atomic>

namespace connector::http::pipeline {

/// Bounds how many requests are under way at once. Any thread may call it; it never blocks.
class Bulkhead
{
public:
    /// @param limit at least 1.
    explicit Bulkhead(unsigned limit) noexcept : limit_(limit) {}

    /// One request's place, given back by its end. The bulkhead outlives it.
    class Place
    {
    public:
        /// Takes a place if one is free.
        explicit Place(Bulkhead& bulkhead) noexcept;
        ~Place();

        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;

        /// Whether there was a free one.
        [[nodiscard]] bool taken() const noexcept { return bulkhead_ != nullptr; }

    private:
        Bulkhead* bulkhead_ = nullptr;
    };

private:
    const unsigned limit_;
    std::atomic<unsigned> taken_{0};
};

} // namespace connector::http::pipeline
