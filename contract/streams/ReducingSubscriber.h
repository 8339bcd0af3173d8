#pragma once

#include <functional>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "contract/messaging/Future.h"
#include "contract/streams/Streams.h"

namespace connector::reactive_streams {

/// Folds a stream of @p T into one @p R. It asks for everything at once.
template <typename T, typename R>
class ReducingSubscriber final : public SubscriberAPI<T>
{
public:
    using Reduce = std::function<R(R&&, T&&)>;

    /// @param reduce joins the result so far and an item; called with no lock held.
    /// @param initial the result of an empty stream.
    explicit ReducingSubscriber(Reduce reduce, R initial = R())
        : reduce_(std::move(reduce)), accumulator_(std::move(initial))
    {}

    /// The future of the result: the folded value, the stream's failure, or an empty @p R once
    /// cancelled.
    /// @throws std::runtime_error "Promise already returned a future." the second time.
    [[nodiscard]] Future<R> getResult() { return promise_.getFuture(); }

    /// Ends the stream; the result becomes an empty @p R. Does nothing once the stream has ended.
    /// @throws std::runtime_error "Subscription went away!" when the publisher dropped it.
    void cancel()
    {
        if (!leaveActive(State::Cancelled)) {
            return;
        }
        promise_.setValue(R());
        if (subscribed_) {
            liveSubscription()->cancel();
        }
    }

    void onSubscribe(std::shared_ptr<Subscription> subscription) override
    {
        {
            const std::lock_guard lock(mutex_);
            if (!subscribed_ && state_ == State::Active) {
                subscribed_ = true;
                subscription_ = subscription;
                subscription = nullptr;
            }
        }
        if (subscription != nullptr) { // a second stream, or one that comes too late
            subscription->cancel();
            return;
        }
        liveSubscription()->request(kUnboundedDemand);
    }

    void onNext(T&& item) override
    {
        std::unique_lock lock(mutex_);
        if (state_ != State::Active) {
            return;
        }
        // Items come one at a time, so nobody else needs the accumulator meanwhile.
        auto accumulator = std::move(accumulator_);
        lock.unlock();
        auto joined = reduce_(std::move(accumulator), std::move(item));
        lock.lock();
        accumulator_ = std::move(joined);
    }

    void onError(std::exception_ptr failure) override
    {
        if (leaveActive(State::Failed)) {
            promise_.setException(std::move(failure));
        }
    }

    void onComplete() override
    {
        if (leaveActive(State::Completed)) {
            promise_.setValue(std::move(accumulator_));
        }
    }

private:
    enum class State
    {
        Active,
        Completed,
        Cancelled,
        Failed
    };

    /// @return whether this call is the one that ended the stream; it alone resolves the promise.
    bool leaveActive(State next)
    {
        const std::lock_guard lock(mutex_);
        if (state_ != State::Active) {
            return false;
        }
        state_ = next;
        return true;
    }

    std::shared_ptr<Subscription> liveSubscription()
    {
        const std::lock_guard lock(mutex_);
        auto subscription = subscription_.lock();
        if (subscription == nullptr) {
            throw std::runtime_error("Subscription went away!");
        }
        return subscription;
    }

    const Reduce reduce_;
    Promise<R> promise_; ///< Resolved by whoever ends the active state.

    std::mutex mutex_; ///< Guards all below.
    State state_ = State::Active;
    bool subscribed_ = false;
    R accumulator_;
    std::weak_ptr<Subscription> subscription_;
};

} // namespace connector::reactive_streams
