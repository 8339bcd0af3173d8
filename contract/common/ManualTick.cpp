#include "contract/common/ManualTick.h"

#include <algorithm>
#include <stdexcept>

namespace connector::common {

constinit std::atomic<long long> ManualTick::tick_{kNone};
constinit std::mutex ManualTick::mutex_;
constinit std::shared_ptr<TickManager> ManualTick::manager_;

ManualTick::ManualTick(long long start)
{
    const std::lock_guard lock(mutex_);
    if (manager_ != nullptr) {
        throw std::logic_error("A ManualTick is alive already.");
    }
    manager_ = std::make_shared<TickManager>([]() noexcept { return tick_.load(); });
    tick_ = start;
}

ManualTick::~ManualTick()
{
    std::shared_ptr<TickManager> released; // destroyed after the lock is released
    const std::lock_guard lock(mutex_);
    tick_ = kNone;
    released.swap(manager_);
}

void ManualTick::advance(long long ticks)
{
    if (ticks < 0) {
        throw std::invalid_argument("Time does not run backwards.");
    }
    const auto manager = current();
    const long long target = tick_ + ticks;
    for (auto due = manager->nextDue(); due && *due <= target; due = manager->nextDue()) {
        tick_ = std::max(tick_.load(), *due);
        manager->runNext();
    }
    tick_ = std::max(tick_.load(), target); // a function may have moved the clock itself
}

std::shared_ptr<TickManager> ManualTick::current()
{
    const std::lock_guard lock(mutex_);
    return manager_;
}

} // namespace connector::common
