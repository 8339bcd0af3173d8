#pragma once

#include <functional>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "contract/common/Failure.h"
#include "contract/streams/Demand.h"
#include "contract/streams/Streams.h"

namespace connector::reactive_streams {

/// Applies a function to each item that it receives and publishes the result to its one subscriber.
/// Demand and cancellation pass upstream, the end of the stream passes downstream. Either side may
/// be connected first. Owned by `std::shared_ptr`.
template <typename In, typename Out>
class TransformProcessor final : public ProcessorAPI<In, Out>,
                                 public std::enable_shared_from_this<TransformProcessor<In, Out>>,
                                 private Subscription
{
public:
    using Transform = std::function<Out(In&&)>;

    /// @param transform called with no lock held, for one item at a time.
    explicit TransformProcessor(Transform transform) : transform_(std::move(transform)) {}

    /// @throws std::runtime_error "Only one subscription is supported" the second time.
    void subscribe(std::shared_ptr<SubscriberAPI<Out>> subscriber) override
    {
        {
            const std::lock_guard lock(mutex_);
            if (subscribed_) {
                throw std::runtime_error("Only one subscription is supported");
            }
            subscribed_ = true;
            downstream_ = subscriber;
        }
        subscriber->onSubscribe(std::shared_ptr<Subscription>(this->shared_from_this(), this));
        std::unique_lock lock(mutex_);
        announced_ = true;
        deliverEnd(lock);
    }

    void onSubscribe(std::shared_ptr<Subscription> subscription) override
    {
        std::unique_lock lock(mutex_);
        if (upstream_ != nullptr || cancelled_ || ended_) {
            lock.unlock();
            subscription->cancel();
            return;
        }
        upstream_ = subscription;
        const auto demand = std::exchange(unsentDemand_, Demand()).count();
        lock.unlock();
        if (demand > 0) {
            subscription->request(demand);
        }
    }

    void onNext(In&& item) override
    {
        std::unique_lock lock(mutex_);
        const auto subscriber = downstream_;
        lock.unlock();
        if (subscriber != nullptr) {
            subscriber->onNext(transform_(std::move(item)));
        }
    }

    void onError(std::exception_ptr failure) override
    {
        end(common::nonNullFailure(std::move(failure)));
    }
    void onComplete() override { end(nullptr); }

private:
    void request(std::uint64_t n) override
    {
        std::unique_lock lock(mutex_);
        const auto upstream = upstream_;
        if (upstream == nullptr) {
            unsentDemand_.add(n);
            return;
        }
        lock.unlock();
        upstream->request(n);
    }

    void cancel() override
    {
        std::shared_ptr<SubscriberAPI<Out>> released;
        std::unique_lock lock(mutex_);
        cancelled_ = true;
        released.swap(downstream_);
        const auto upstream = std::exchange(upstream_, nullptr);
        lock.unlock();
        if (upstream != nullptr) {
            upstream->cancel();
        }
    }

    void end(std::exception_ptr failure)
    {
        std::unique_lock lock(mutex_);
        upstream_.reset();
        ended_ = true;
        failure_ = std::move(failure);
        deliverEnd(lock);
    }

    /// Lets go of the lock before it calls the subscriber.
    void deliverEnd(std::unique_lock<std::mutex>& lock)
    {
        if (!ended_ || !announced_ || downstream_ == nullptr) {
            return;
        }
        const auto subscriber = std::exchange(downstream_, nullptr);
        const auto failure = failure_;
        lock.unlock();
        if (failure != nullptr) {
            subscriber->onError(failure);
        } else {
            subscriber->onComplete();
        }
    }

    const Transform transform_;

    std::mutex mutex_; ///< Guards all below.
    bool subscribed_ = false;
    bool announced_ =
        false; ///< The subscriber's `onSubscribe` has returned: it may be told the end.
    bool cancelled_ = false;
    bool ended_ = false;
    std::exception_ptr failure_; ///< Why the stream ended; null for a completion.
    Demand unsentDemand_;        ///< Asked for before there was an upstream to ask.
    std::shared_ptr<Subscription> upstream_;
    std::shared_ptr<SubscriberAPI<Out>> downstream_;
};

} // namespace connector::reactive_streams
