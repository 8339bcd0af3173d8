#include "contract/common/TickManager.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <stdexcept>
#include <string>
#include <thread>

#include "contract/common/Log.h"

namespace connector::common {

namespace {

constexpr Log kLog("connector::common");

/// The longest single sleep: far below what the clock's nanoseconds can count.
constexpr long long kLongestSleepMs = 3'600'000;

long long addSaturated(long long a, long long b) noexcept
{
    constexpr auto kMost = std::numeric_limits<long long>::max();
    return b > 0 && a > kMost - b ? kMost : a + b;
}

/// The first time after @p now on the grid of a timer that was due at @p due.
long long nextOnGrid(long long due, long long period, long long now) noexcept
{
    const long long missed = now < due ? 0 : (now - due) / period;
    return addSaturated(due + missed * period, period);
}

/// The root of what timers throw.
void callGuarded(const std::function<void(long long)>& function, long long tick) noexcept
{
    try {
        function(tick);
    } catch (const std::exception& failure) {
        kLog.write(Level::Error, "A timer's function failed: ", failure.what());
    } catch (...) {
        kLog.write(Level::Error, "A timer's function failed.");
    }
}

} // namespace

struct TickManager::Timer
{
    std::function<void(long long)> function;
    long long period = 0;
    Key key;
    std::thread::id runner; ///< The thread that is calling the function, if any.
    bool cancelled = false;
};

TickManager::Canceller::Canceller(std::shared_ptr<TickManager> manager,
                                  std::shared_ptr<Timer> timer)
    : manager_(std::move(manager)), timer_(std::move(timer))
{}

TickManager::Canceller::~Canceller()
{
    cancel();
}

void TickManager::Canceller::cancel()
{
    manager_->cancel(*timer_);
}

TickManager::~TickManager() = default;

std::shared_ptr<TickManager::Canceller>
TickManager::schedule(std::function<void(long long)> function, long long period)
{
    if (!function || period < 1) {
        throw std::invalid_argument("A timer needs a function and a period of at least one tick.");
    }
    auto timer = std::make_shared<Timer>();
    timer->function = std::move(function);
    timer->period = period;
    auto canceller = std::make_shared<Canceller>(shared_from_this(), timer);

    Timers made;
    std::unique_lock lock(mutex_);
    timer->key = {addSaturated(clock_(), period), scheduled_++};
    made.emplace(timer->key, std::move(timer));
    doInsert(lock, made.extract(made.begin()));
    return canceller;
}

std::optional<long long> TickManager::nextDue() const
{
    const std::lock_guard lock(mutex_);
    return timers_.empty() ? std::nullopt : std::optional(timers_.begin()->first.first);
}

bool TickManager::runNext()
{
    std::unique_lock lock(mutex_);
    return doRunNext(lock);
}

void TickManager::run()
{
    std::unique_lock lock(mutex_);
    for (;;) {
        if (doRunNext(lock)) {
            continue;
        }
        if (timers_.empty()) {
            scheduleChanged_.wait(lock);
        } else {
            const auto sleep = std::min(timers_.begin()->first.first - clock_(), kLongestSleepMs);
            scheduleChanged_.wait_for(lock, std::chrono::milliseconds(sleep));
        }
    }
}

/// Allocates nothing: the thread that runs the timers could not go on without the memory.
void TickManager::doInsert(std::unique_lock<std::mutex>& /*lock*/, Timers::node_type timer)
{
    timer.key() = timer.mapped()->key;
    const auto place = timers_.insert(std::move(timer)).position;
    if (place == timers_.begin()) {
        scheduleChanged_.notify_all();
    }
}

/// Lets go of the lock while it calls or destroys the function.
bool TickManager::doRunNext(std::unique_lock<std::mutex>& lock)
{
    const long long now = clock_();
    if (timers_.empty() || timers_.begin()->first.first > now) {
        return false;
    }
    auto node = timers_.extract(timers_.begin());
    const auto timer = node.mapped();
    timer->runner = std::this_thread::get_id();
    lock.unlock();

    callGuarded(timer->function, now);

    lock.lock();
    if (timer->cancelled) {
        auto function = std::move(timer->function);
        lock.unlock();
        function = nullptr; // what it captured may cancel further timers
        lock.lock();
        timer->runner = {};
        callEnded_.notify_all();
        return true;
    }
    timer->runner = {};
    timer->key.first = nextOnGrid(timer->key.first, timer->period, clock_());
    doInsert(lock, std::move(node));
    return true;
}

void TickManager::cancel(Timer& timer)
{
    std::function<void(long long)> function; // destroyed after the lock is released
    std::unique_lock lock(mutex_);
    timer.cancelled = true;
    if (timer.runner == std::this_thread::get_id()) {
        return;
    }
    callEnded_.wait(lock, [&timer] { return timer.runner == std::thread::id(); });
    timers_.erase(timer.key);
    function.swap(timer.function);
}

} // namespace connector::common
