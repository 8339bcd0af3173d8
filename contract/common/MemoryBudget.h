#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <stdexcept>

#include "contract/common/Export.h"

namespace connector::common {

/// Something would hold more memory than its budget allows.
class CONNECTOR_API MemoryBudgetExceeded : public std::runtime_error
{
public:
    MemoryBudgetExceeded();
};

/// Bounds how much memory its users hold together. Any thread may call it; it never blocks.
class CONNECTOR_API MemoryBudget
{
public:
    /// @param limit in bytes.
    explicit MemoryBudget(std::size_t limit) noexcept : limit_(limit) {}

    MemoryBudget(const MemoryBudget&) = delete;
    MemoryBudget& operator=(const MemoryBudget&) = delete;

    /// @throws MemoryBudgetExceeded "Too much memory is held by bodies." and takes nothing if fewer
    ///         than @p bytes are left.
    void acquire(std::size_t bytes);

    /// Gives back what `acquire` took.
    void release(std::size_t bytes) noexcept;

    [[nodiscard]] std::size_t used() const noexcept { return used_; }

    /// The budget of all bodies in this process, requests' and upstreams', where the settings name
    /// no other one: 1 GiB.
    static std::shared_ptr<MemoryBudget> ofBodies();

private:
    const std::size_t limit_;
    std::atomic<std::size_t> used_ = 0;
};

} // namespace connector::common
