#include "server/net/EventLoop.h"

#include <Poco/ThreadPool.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <span>
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

using common::FileDescriptor;

constexpr std::uint64_t kWakeup = std::numeric_limits<std::uint64_t>::max();

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

/// Events that a thread takes at a time. What it does not run itself, it queues.
constexpr int kEventsPerWait = 8;

std::size_t maxActive(const EventLoopSettings& settings)
{
    return settings.activeThreads > 0 ? settings.activeThreads
                                      : std::max(2U, std::thread::hardware_concurrency());
}

} // namespace

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
    : pool_(pool), maxActive_(maxActive(settings)), maxThreads_(settings.maxThreads),
      table_(settings.maxSessions), work_(*this, &EventLoop::work),
      epoll_(FileDescriptor::require(::epoll_create1(EPOLL_CLOEXEC))),
      wakeup_(FileDescriptor::require(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))), supervisor_(*this)
{
    workers_.reserve(maxThreads_); // a worker that begins needs no memory
    epoll_event event = {};
    event.events = EPOLLIN | EPOLLET;
    event.data.u64 = kWakeup;
    if (::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, wakeup_.get(), &event) != 0) {
        throw std::system_error(errno, std::generic_category());
    }
}

EventLoop::~EventLoop() = default;

void EventLoop::start()
{
    supervisor_.start();
    startThread();
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
    if (::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, descriptor, &event) != 0) {
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
        while (const auto key = next(worker)) {
            worker.beginEvent();
            if (table_.run(*key, worker.scratch())) {
                table_.enqueue(*key);
            }
            if (!worker.endEvent()) {
                break;
            }
        }
        passQueuedOn();
    }
    if (stopped_) {
        wakeThread();
    }
    const std::lock_guard lock(threadsMutex_);
    --threads_;
    threadEnded_.notify_all();
}

std::optional<Key> EventLoop::next(Worker& worker)
{
    while (!stopped_) {
        if (const auto key = takeQueued(worker)) {
            return key;
        }
        ++waiting_;
        // What was queued before `waiting_` was counted is seen here; what comes later wakes a
        // thread.
        if (table_.hasQueued() || stopped_) {
            --waiting_;
            continue;
        }
        if (const auto key = awaitEvent(worker)) {
            return key;
        }
    }
    return std::nullopt;
}

/// A queued session, or one with a new event: they take turns, so that neither sort waits for all
/// of the other.
std::optional<Key> EventLoop::takeQueued(Worker& worker)
{
    if (!table_.hasQueued()) {
        return std::nullopt;
    }
    auto key = worker.switchTurn() ? takeEvent(0) : std::nullopt;
    if (!key.has_value()) {
        key = table_.dequeue();
    }
    if (key.has_value()) {
        passQueuedOn();
    }
    return key;
}

/// Has another thread look after what is queued: a session that runs may block.
void EventLoop::passQueuedOn() noexcept
{
    if (waiting_ == 0) {
        if (table_.hasQueued()) {
            activeTarget_ = maxActive_;
        }
        ensureWaitingThread();
    } else if (table_.hasQueued()) {
        wakeThread();
    }
}

std::optional<Key> EventLoop::awaitEvent(Worker& worker)
{
    const auto key = takeEvent(-1);
    --waiting_;
    if (!key.has_value()) {
        return key;
    }
    if (table_.hasQueued()) {
        worker.noteBacklog();
    } else if (worker.noteLoneEvent()) {
        activeTarget_ = 1;
    }
    passQueuedOn();
    return key;
}

/// @param timeout in milliseconds; -1 for none.
/// @return the session that the event makes run; nothing if there is none, or it runs already.
std::optional<Key> EventLoop::takeEvent(int timeout)
{
    std::array<epoll_event, kEventsPerWait> events; // NOLINT: written by the call below
    const auto count = ::epoll_wait(epoll_.get(), events.data(), kEventsPerWait, timeout);
    std::optional<Key> first;
    for (const auto& event :
         std::span(events).first(static_cast<std::size_t>(std::max(count, 0)))) {
        const auto key = toKey(event.data.u64);
        if (event.data.u64 == kWakeup || !table_.raise(key, toEvents(event.events))) {
            continue;
        }
        if (first.has_value()) {
            table_.enqueue(key);
        } else {
            first = key;
        }
    }
    return first;
}

void EventLoop::wakeThread() noexcept
{
    const std::uint64_t one = 1;
    static_cast<void>(!::write(wakeup_.get(), &one, sizeof(one)));
}

void EventLoop::ensureWaitingThread() noexcept
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
    } catch (...) { // the pool is still taking a thread back, or there is none to be had
        releaseActive();
        supervisor_.watch(); // tries again
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

/// @return whether there were more active threads than are wanted.
bool EventLoop::releaseSurplus() noexcept
{
    auto active = active_.load();
    while (active > activeTarget_) {
        if (active_.compare_exchange_weak(active, active - 1)) {
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
