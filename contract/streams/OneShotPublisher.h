#pragma once

#include <mutex>
#include <optional>
#include <stdexcept>
#include <utility>

#include "contract/streams/Demand.h"
#include "contract/streams/Streams.h"

namespace connector::reactive_streams {

/// Publishes the one item given at construction, then completes. Owned by `std::shared_ptr`; it is
/// its subscriber's subscription itself, so that a body costs one allocation.
template <typename T>
class OneShotPublisher final : public PublisherAPI<T>,
                               public std::enable_shared_from_this<OneShotPublisher<T>>,
                               private Subscription
{
public:
    explicit OneShotPublisher(T item) : item_(std::move(item)) {}

    /// @throws std::runtime_error "Only one subscription allowed." the second time.
    void subscribe(std::shared_ptr<SubscriberAPI<T>> subscriber) override
    {
        {
            const std::lock_guard lock(mutex_);
            if (subscribed_) {
                throw std::runtime_error("Only one subscription allowed.");
            }
            subscribed_ = true;
            subscriber_ = subscriber;
        }
        subscriber->onSubscribe(std::shared_ptr<Subscription>(this->shared_from_this(), this));
    }

    /// The item without a subscription, for who wants all of it at once.
    /// @return nothing if somebody has subscribed; nobody can afterwards.
    std::optional<T> take()
    {
        std::optional<T> item;
        const std::lock_guard lock(mutex_);
        if (!std::exchange(subscribed_, true)) {
            item.swap(item_);
        }
        return item;
    }

private:
    void request(std::uint64_t n) override
    {
        std::unique_lock lock(mutex_);
        demand_.add(n);
        if (!item_.has_value() || subscriber_ == nullptr || !demand_.take()) {
            return;
        }
        auto item = std::move(*item_);
        item_.reset();
        const auto subscriber = subscriber_;
        lock.unlock();
        subscriber->onNext(std::move(item));
        lock.lock();
        const auto cancelled = std::exchange(subscriber_, nullptr) == nullptr;
        lock.unlock();
        if (!cancelled) {
            subscriber->onComplete();
        }
    }

    void cancel() override
    {
        std::optional<T> spent;
        std::shared_ptr<SubscriberAPI<T>> released;
        const std::lock_guard lock(mutex_);
        spent.swap(item_);
        released.swap(subscriber_);
    }

    std::mutex mutex_; ///< Guards all below.
    std::optional<T> item_;
    Demand demand_;
    bool subscribed_ = false;
    std::shared_ptr<SubscriberAPI<T>> subscriber_; ///< Null before, after the end, and cancelled.
};

} // namespace connector::reactive_streams
