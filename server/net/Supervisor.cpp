#include "server/net/Supervisor.h"

#include <algorithm>

#include "contract/common/Thread.h"
#include "server/net/EventLoop.h"
#include "server/net/Worker.h"

namespace connector::http::net {

namespace {

/// How long a thread may take for one event before it counts as blocked.
constexpr std::chrono::milliseconds kCheckInterval{5};
/// After that many checks in a row that found a thread waiting, the supervisor sleeps.
constexpr int kChecksBeforeSleep = 100;
/// Two scans of the deadlines are no closer to each other.
constexpr std::chrono::milliseconds kScanInterval{50};

} // namespace

void Supervisor::start()
{
    thread_ = common::startThread("supervisor", [this] { run(); });
}

void Supervisor::stop()
{
    {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
        changed_.notify_all();
    }
    if (thread_.joinable()) {
        thread_.join();
    }
}

void Supervisor::advanceScan(Clock::time_point deadline) noexcept
{
    const std::lock_guard lock(mutex_);
    if (deadline.time_since_epoch().count() < nextScan_) {
        nextScan_ = deadline.time_since_epoch().count();
        changed_.notify_all();
    }
}

void Supervisor::beginWatch() noexcept
{
    const std::lock_guard lock(mutex_);
    watching_ = true;
    changed_.notify_all();
}

void Supervisor::run()
{
    int quietChecks = 0;
    std::unique_lock lock(mutex_);
    while (!stopped_) {
        const auto now = Clock::now();
        if (now >= nextScan()) {
            // A deadline that is set from here on brings the next scan forward by itself.
            nextScan_ = Clock::duration::max().count();
            lock.unlock();
            scan(now);
            lock.lock();
            continue;
        }
        if (watching_) {
            quietChecks = busy_.exchange(false) ? 0 : quietChecks + 1;
            watching_ = quietChecks < kChecksBeforeSleep;
            watching_ = watching_ || busy_.load(); // set by a thread that still saw it watching
            lock.unlock();
            Worker::replaceBlocked(loop_);
            lock.lock();
        }
        if (stopped_) {
            break;
        }
        if (watching_) {
            // One system call; a wait for `changed_` that times out costs two. A stop or an earlier
            // scan waits for as long at most.
            const auto nextCheck = std::min(nextScan(), now + kCheckInterval);
            lock.unlock();
            std::this_thread::sleep_until(nextCheck);
            lock.lock();
        } else if (nextScan() == Clock::time_point::max()) {
            changed_.wait(lock);
        } else {
            changed_.wait_until(lock, nextScan());
        }
    }
}

void Supervisor::scan(Clock::time_point now)
{
    const auto next = loop_.table_.expire(now, [this](Key key) { loop_.raise(key, kDeadline); });
    const auto due = std::max(next, now + kScanInterval).time_since_epoch().count();
    const std::lock_guard lock(mutex_);
    nextScan_ = std::min(nextScan_.load(), due);
}

} // namespace connector::http::net
