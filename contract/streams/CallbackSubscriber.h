#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

#include "contract/streams/TypedCanceller.h"

namespace connector::reactive_streams {

/// Calls a function for each item of a stream, on the thread that publishes it. It asks for
/// everything at once; the end of the stream passes silently.
template <typename V>
class CallbackSubscriber final : public SubscriberAPI<V>
{
public:
    using Callback = std::function<void(V&&)>;

    explicit CallbackSubscriber(Callback callback) : callback_(std::move(callback)) {}

    /// Subscribes @p callback to @p publisher.
    /// @return the handle that keeps the subscription: it ends when the handle is dropped. A call
    ///         that runs meanwhile on another thread may still end, so the callback must own what
    ///         it touches.
    /// @throws what the callback throws for an item that is there already; nothing stays
    /// subscribed.
    static std::shared_ptr<TypedCanceller<V>> attach(PublisherAPI<V>& publisher, Callback callback)
    {
        auto subscriber = std::make_shared<CallbackSubscriber>(std::move(callback));
        try {
            publisher.subscribe(subscriber);
        } catch (
            ...) { // the subscriber and its subscription hold each other until one is cancelled
            subscriber->takeCanceller()->cancel();
            throw;
        }
        return subscriber->takeCanceller();
    }

    void onSubscribe(std::shared_ptr<Subscription> subscription) override
    {
        {
            const std::lock_guard lock(mutex_);
            subscription_ = subscription;
        }
        subscription->request(kUnboundedDemand);
    }

    void onNext(V&& item) override { callback_(std::move(item)); }
    void onError(std::exception_ptr /*failure*/) override {}
    void onComplete() override {}

private:
    std::shared_ptr<TypedCanceller<V>> takeCanceller()
    {
        const std::lock_guard lock(mutex_);
        return std::make_shared<TypedCanceller<V>>(std::move(subscription_));
    }

    const Callback callback_;
    std::mutex mutex_;                           ///< Guards subscription_.
    std::shared_ptr<Subscription> subscription_; ///< Until the canceller takes it over.
};

} // namespace connector::reactive_streams
