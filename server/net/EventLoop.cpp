#include "server/net/EventLoop.h"

#include <Poco/ThreadPool.h>
#include <algorithm>
#include <cerrno>
#include <limits>
#include <stdexcept>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include "server/net/Worker.h"

namespace connector::http::net {

namespace {

constexpr std::uint64_t kNews = std::numeric_limits<std::uint64_t>::max();

std::uint64_t toData(Key key)
{
    return std::uint64_t{key.generation} << 32U | key.index;
}

Key toKey(std::uint64_t data)
{
    return {static_cast<std::uint32_t>(data), static_cast<std::uint32_t>(data >> 32U)};
}

Events toEvents(std::uint32_t polled)
{
    Events events = 0;
    events |= (polled & EPOLLIN) != 0 ? kReadable : 0;
    events |= (polled & EPOLLOUT) != 0 ? kWritable : 0;
    events |= (polled & EPOLLRDHUP) != 0 ? kHangUp : 0;
    events |= (polled & (EPOLLERR | EPOLLHUP)) != 0 ? kBroken : 0;
    return events;
}

int requireDescriptor(int descriptor)
{
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category());
    }
    return descriptor;
}

/// One for each core; the second one goes on while the first is in a provider's code.
std::size_t activeTarget()
{
    return std::max<std::size_t>(2, std::thread::hardware_concurrency());
}

} // namespace

Session::~Session()
{
    ::close(descriptor_);
}

void Session::setDeadline(Clock::time_point deadline) noexcept
{
    loop_->setDeadline(key_, deadline);
}

void Session::setIdleSince(Clock::time_point since) noexcept
{
    loop_->setIdleSince(key_, since);
}

void Handle::wake() const noexcept
{
    if (loop_ != nullptr) {
        loop_->raise(key_, kWoken);
    }
}

EventLoop::EventLoop(Poco::ThreadPool& pool, const EventLoopSettings& settings)
    : pool_(pool), activeTarget_(activeTarget()), maxThreads_(settings.maxThreads),
      table_(settings.maxSessions), work_(*this, &EventLoop::work),
      events_(requireDescriptor(::epoll_create1(EPOLL_CLOEXEC))), news_(-1), supervisor_(*this)
{
    news_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    epoll_event event = {};
    event.events = EPOLLIN | EPOLLET;
    event.data.u64 = kNews;
    if (news_ < 0 || ::epoll_ctl(events_, EPOLL_CTL_ADD, news_, &event) != 0) {
        const std::system_error failure(errno, std::generic_category());
        ::close(news_);
        ::close(events_);
        throw failure;
    }
}

EventLoop::~EventLoop()
{
    ::close(news_);
    ::close(events_);
}

void EventLoop::start()
{
    supervisor_.start();
    for (std::size_t i = 0; i < activeTarget_; ++i) {
        startThread();
    }
    if (threads_ == 0) {
        throw std::runtime_error("There is no thread for connections.");
    }
}

void EventLoop::stop()
{
    stopped_ = true;
    wakeThread();
    std::unique_lock lock(threadsMutex_);
    threadEnded_.wait(lock, [this] { return threads_ == 0; });
    lock.unlock();
    supervisor_.stop();
}

bool EventLoop::add(std::unique_ptr<Session> session)
{
    const auto descriptor = session->descriptor();
    const auto key = table_.add(*this, session);
    if (!key.has_value()) {
        return false;
    }
    epoll_event event = {};
    event.events = EPOLLIN | EPOLLOUT | EPOLLRDHUP | EPOLLET;
    event.data.u64 = toData(*key);
    if (::epoll_ctl(events_, EPOLL_CTL_ADD, descriptor, &event) != 0) {
        const auto error = errno;
        raise(*key, kStop);
        throw std::system_error(error, std::generic_category());
    }
    return true;
}

void EventLoop::raise(Key key, Events events) noexcept
{
    if (!table_.raise(key, events)) {
        return;
    }
    table_.enqueue(key);
    if (waiting_ > 0) {
        wakeThread();
    }
}

void EventLoop::raiseAll(Events events)
{
    table_.forEach([this, events](Key key) { raise(key, events); });
}

void EventLoop::setDeadline(Key key, Clock::time_point deadline) noexcept
{
    table_.setDeadline(key, deadline);
    supervisor_.ensureScanBy(deadline);
}

bool EventLoop::makeRoom() noexcept
{
    const auto key = table_.takeLongestIdle();
    if (key.has_value()) {
        raise(*key, kMakeRoom);
    }
    return key.has_value();
}

void EventLoop::work()
{
    {
        Worker worker(*this);
        while (const auto key = next()) {
            worker.beginEvent();
            table_.run(*key, worker.scratch());
            if (!worker.endEvent()) {
                break;
            }
        }
    }
    if (stopped_) {
        wakeThread();
    }
    const std::lock_guard lock(threadsMutex_);
    --threads_;
    threadEnded_.notify_all();
}

std::optional<Key> EventLoop::next()
{
    while (!stopped_) {
        if (auto key = table_.dequeue()) {
            return key;
        }
        ++waiting_;
        // What was queued before `waiting_` was counted is seen here; what comes later wakes a
        // thread.
        if (table_.hasQueued() || stopped_) {
            --waiting_;
            continue;
        }
        if (const auto key = awaitEvent()) {
            return key;
        }
    }
    return std::nullopt;
}

std::optional<Key> EventLoop::awaitEvent()
{
    epoll_event event = {};
    const auto count = ::epoll_wait(events_, &event, 1, -1);
    const auto othersWait = waiting_.fetch_sub(1) > 1;
    if (count != 1 || event.data.u64 == kNews) {
        return std::nullopt;
    }
    const auto key = toKey(event.data.u64);
    if (!table_.raise(key, toEvents(event.events))) {
        return std::nullopt;
    }
    if (!othersWait) {
        onNoneWaiting();
    }
    return key;
}

void EventLoop::wakeThread() noexcept
{
    const std::uint64_t one = 1;
    static_cast<void>(!::write(news_, &one, sizeof(one)));
}

void EventLoop::onNoneWaiting() noexcept
{
    if (active_.load(std::memory_order_relaxed) < activeTarget_) {
        startThread();
    } else {
        supervisor_.watch();
    }
}

void EventLoop::startThread() noexcept
{
    if (stopped_ || !claimActive()) {
        return;
    }
    {
        const std::lock_guard lock(threadsMutex_);
        if (threads_ >= maxThreads_) {
            releaseActive();
            return;
        }
        ++threads_;
    }
    try {
        pool_.start(work_);
    } catch (...) {
        releaseActive();
        const std::lock_guard lock(threadsMutex_);
        --threads_;
        threadEnded_.notify_all();
    }
}

bool EventLoop::claimActive() noexcept
{
    auto active = active_.load();
    while (active < activeTarget_) {
        if (active_.compare_exchange_weak(active, active + 1)) {
            return true;
        }
    }
    return false;
}

void EventLoop::releaseActive() noexcept
{
    --active_;
}

} // namespace connector::http::net
