#include "contract/common/MemoryBudget.h"

namespace connector::common {

namespace {

/// Twice the largest body of an upstream, and several times what a busy server holds at once.
constexpr std::size_t kDefaultLimit = std::size_t{1} << 30U;

} // namespace

MemoryBudgetExceeded::MemoryBudgetExceeded()
    : std::runtime_error("Too much memory is held by bodies.")
{}

void MemoryBudget::acquire(std::size_t bytes)
{
    auto used = used_.load(std::memory_order_relaxed);
    do {
        if (bytes > limit_ - used) {
            throw MemoryBudgetExceeded();
        }
    } while (!used_.compare_exchange_weak(used, used + bytes, std::memory_order_relaxed));
}

void MemoryBudget::release(std::size_t bytes) noexcept
{
    used_.fetch_sub(bytes, std::memory_order_relaxed);
}

std::shared_ptr<MemoryBudget> MemoryBudget::ofBodies()
{
    static const auto budget = std::make_shared<MemoryBudget>(kDefaultLimit);
    return budget;
}

} // namespace connector::common
