#include "server/net/Worker.h"

#include <algorithm>
#include <mutex>

#include "server/net/EventLoop.h"

namespace connector::http::net {

Worker::Worker(EventLoop& loop) : loop_(loop)
{
    common::setBlockingListener(this);
    const std::lock_guard lock(loop_.threadsMutex_);
    loop_.workers_.push_back(this);
}

Worker::~Worker()
{
    common::setBlockingListener(nullptr);
    const std::lock_guard lock(loop_.threadsMutex_);
    std::erase(loop_.workers_, this);
    leaveActive();
}

void Worker::onBlocking() noexcept
{
    if (!leaveActive()) {
        return;
    }
    noteBacklog();
    loop_.activeTarget_ = loop_.maxActive_; // the next one that blocks finds a thread that waits
    if (loop_.waiting_ == 0) {
        loop_.startThread();
    }
}

bool Worker::becomeActive() noexcept
{
    if (!loop_.claimActive()) {
        return false;
    }
    isActive_ = true;
    return true;
}

bool Worker::isSurplus() const noexcept
{
    return loop_.active_.load(std::memory_order_relaxed) >
           loop_.activeTarget_.load(std::memory_order_relaxed);
}

/// @return whether the thread has left the active ones.
bool Worker::leaveSurplus() noexcept
{
    if (!isActive_.exchange(false)) { // replaced meanwhile
        return !becomeActive();
    }
    if (loop_.releaseSurplus()) {
        return true;
    }
    isActive_ = true;
    return false;
}

bool Worker::noteLoneEvent() noexcept
{
    constexpr int kEnough = 64;
    if (++withoutBacklog_ < kEnough) {
        return false;
    }
    withoutBacklog_ = 0;
    return true;
}

bool Worker::leaveActive() noexcept
{
    if (!isActive_.exchange(false)) {
        return false;
    }
    loop_.releaseActive();
    return true;
}

bool Worker::isInSameTurn() noexcept
{
    const auto turn = turn_.load(std::memory_order_relaxed);
    const auto same = turn == seenTurn_ && turn % 2 == 1;
    seenTurn_ = turn;
    return same;
}

void Worker::replaceBlocked(EventLoop& loop)
{
    {
        const std::lock_guard lock(loop.threadsMutex_);
        for (auto* worker : loop.workers_) {
            if (worker->isInSameTurn() && worker->leaveActive()) {
                loop.activeTarget_ = loop.maxActive_;
            }
        }
    }
    if (loop.waiting_ == 0) { // does nothing while enough threads are active
        loop.startThread();
    }
}

} // namespace connector::http::net
