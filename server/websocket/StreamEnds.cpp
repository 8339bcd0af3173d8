#include "server/websocket/StreamEnds.h"

#include <stdexcept>
#include <utility>

#include "server/websocket/WebSocketLog.h"

namespace connector::http::websocket {

using reactive_streams::Subscription;

bool StreamEnds::connectUpstream(const std::shared_ptr<Subscription>& subscription)
{
    const std::lock_guard lock(mutex_);
    if (upstream_ != nullptr || closed_) {
        return false;
    }
    upstream_ = subscription;
    return true;
}

void StreamEnds::releaseUpstream()
{
    std::shared_ptr<Subscription> released; // destroyed without the lock
    const std::lock_guard lock(mutex_);
    released.swap(upstream_);
}

bool StreamEnds::requestFrame(int limit)
{
    return requests_.fetch_add(1) > 0 || resumeRequests(limit);
}

bool StreamEnds::resumeRequests(int limit)
{
    for (int i = 0; i < limit; ++i) {
        std::unique_lock lock(mutex_);
        const auto upstream = closed_ ? nullptr : upstream_;
        lock.unlock();
        if (upstream != nullptr) {
            upstream->request(1);
        }
        if (requests_.fetch_sub(1) == 1) {
            return true;
        }
    }
    return false;
}

void StreamEnds::connectDownstream(const std::shared_ptr<FrameSubscriber>& subscriber,
                                   const std::shared_ptr<Subscription>& subscription)
{
    {
        const std::lock_guard lock(mutex_);
        if (subscribed_) {
            throw std::runtime_error("Only one subscriber is allowed");
        }
        subscribed_ = true;
        downstream_ = subscriber;
    }
    subscriber->onSubscribe(subscription);
    std::unique_lock lock(mutex_);
    if (failure_ != nullptr && downstream_ != nullptr) {
        downstream_ = nullptr;
        const auto failure = std::exchange(failure_, nullptr);
        lock.unlock();
        subscriber->onError(failure);
    }
}

void StreamEnds::addDemand(std::uint64_t n)
{
    const std::lock_guard lock(mutex_);
    demand_.add(n);
}

void StreamEnds::cancelDownstream()
{
    std::shared_ptr<FrameSubscriber> released; // destroyed without the lock
    const std::lock_guard lock(mutex_);
    cancelled_ = true;
    released.swap(downstream_);
}

bool StreamEnds::isPaused()
{
    const std::lock_guard lock(mutex_);
    return !cancelled_ && !demand_.any();
}

bool StreamEnds::deliver(WebSocketFrame& frame)
{
    std::unique_lock lock(mutex_);
    if (closed_ || (!cancelled_ && (downstream_ == nullptr || !demand_.take()))) {
        return false;
    }
    const auto subscriber = downstream_;
    lock.unlock();
    if (subscriber != nullptr) {
        subscriber->onNext(std::move(frame));
    }
    return true;
}

bool StreamEnds::close(std::optional<CloseCode> code, std::exception_ptr failure)
{
    const std::lock_guard lock(mutex_);
    if (closed_) {
        return false;
    }
    closed_ = true;
    closeCode_ = code;
    failure_ = std::move(failure);
    return true;
}

void StreamEnds::deliverEnd()
{
    std::unique_lock lock(mutex_);
    const auto subscriber = std::exchange(downstream_, nullptr);
    const auto upstream = std::exchange(upstream_, nullptr);
    const auto failure = subscriber != nullptr ? std::exchange(failure_, nullptr) : nullptr;
    lock.unlock();
    if (subscriber != nullptr) {
        guarded([&] {
            if (failure != nullptr) {
                subscriber->onError(failure);
            } else {
                subscriber->onComplete();
            }
        });
    }
    if (upstream != nullptr) {
        guarded([&] { upstream->cancel(); });
    }
}

std::optional<CloseCode> StreamEnds::closeCode()
{
    const std::lock_guard lock(mutex_);
    return closeCode_;
}

} // namespace connector::http::websocket
