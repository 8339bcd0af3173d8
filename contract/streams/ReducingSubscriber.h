#pragma once

#include <exception>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <utility>

#include "contract/messaging/Future.h"
#include "contract/streams/Streams.h"

namespace connector::reactive_streams {

/// Folds a stream of @p T into one @p R. It asks for everything at once. Several threads may
/// deliver items: one of them folds at a time, in the order of arrival, and others leave their
/// items to it.
template <typename T, typename R>
class ReducingSubscriber final : public SubscriberAPI<T>
{
public:
    using Reduce = std::function<R(R&&, T&&)>;

    /// @param reduce joins the result so far and an item; called with no lock held. What it throws
    ///        is the stream's failure, and cancels the subscription.
    /// @param initial the result of an empty stream.
    explicit ReducingSubscriber(Reduce reduce, R initial = R())
        : reduce_(std::move(reduce)), accumulator_(std::move(initial))
    {}

    /// The future of the result: the folded value, the stream's failure, or an empty @p R once
    /// cancelled. Ready at once if the stream has ended.
    /// @throws std::runtime_error "Promise already returned a future." the second time.
    [[nodiscard]] Future<R> getResult()
    {
        const std::lock_guard lock(mutex_);
        if (std::exchange(asked_, true)) {
            throw std::runtime_error("Promise already returned a future.");
        }
        switch (state_) {
        case State::Completed:
            return makeReadyFuture<R>(std::move(accumulator_));
        case State::Cancelled:
            return makeReadyFuture<R>(R());
        case State::Failed:
            return makeFailedFuture<R>(failure_);
        case State::Active:
            break;
        }
        return promise_.emplace().getFuture();
    }

    /// Ends the stream; the result becomes an empty @p R. Does nothing once the stream has ended.
    /// @throws std::runtime_error "Subscription went away!" when the publisher dropped it.
    void cancel()
    {
        if (leaveActive(State::Cancelled) && isSubscribed()) {
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
        if (state_ != State::Active || completing_) {
            return;
        }
        if (reducing_) {
            waiting_.push_back(std::move(item));
            return;
        }
        reducing_ = true;
        doReduce(lock, std::move(item));
        while (!waiting_.empty()) {
            auto next = std::move(waiting_.front());
            waiting_.pop_front();
            doReduce(lock, std::move(next));
        }
        reducing_ = false;
        if (completing_) {
            lock.unlock();
            leaveActive(State::Completed);
        }
    }

    void onError(std::exception_ptr failure) override
    {
        leaveActive(State::Failed, std::move(failure));
    }

    void onComplete() override
    {
        {
            const std::lock_guard lock(mutex_);
            if (reducing_) {
                completing_ = true; // behind the items that have arrived
                return;
            }
        }
        leaveActive(State::Completed);
    }

private:
    enum class State
    {
        Active,
        Completed,
        Cancelled,
        Failed
    };

    /// Folds one item in; releases the lock while it does.
    void doReduce(std::unique_lock<std::mutex>& lock, T&& item)
    {
        auto accumulator = std::move(accumulator_);
        lock.unlock();
        try {
            accumulator = reduce_(std::move(accumulator), std::move(item));
        } catch (...) {
            fail(std::current_exception());
        }
        lock.lock();
        accumulator_ = std::move(accumulator);
    }

    void fail(std::exception_ptr failure)
    {
        std::unique_lock lock(mutex_);
        const auto subscription = subscription_.lock();
        lock.unlock();
        if (leaveActive(State::Failed, std::move(failure)) && subscription != nullptr) {
            subscription->cancel();
        }
    }

    /// Ends the stream, and resolves the promise of whoever waits for that.
    /// @return whether this call is the one that ended it.
    bool leaveActive(State next, std::exception_ptr failure = nullptr)
    {
        std::list<T> dropped; // destroyed after the lock is released
        std::unique_lock lock(mutex_);
        if (state_ != State::Active) {
            return false;
        }
        dropped.swap(waiting_);
        state_ = next;
        failure_ = failure;
        auto promise = std::exchange(promise_, std::nullopt);
        if (promise.has_value()) {
            auto result = next == State::Completed ? std::move(accumulator_) : R();
            lock.unlock(); // continuations run with no lock held
            if (next == State::Failed) {
                promise->setException(std::move(failure));
            } else {
                promise->setValue(std::move(result));
            }
        }
        return true;
    }

    bool isSubscribed()
    {
        const std::lock_guard lock(mutex_);
        return subscribed_;
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
    std::mutex mutex_; ///< Guards all below.
    State state_ = State::Active;
    bool asked_ = false;                ///< The result was asked for.
    std::optional<Promise<R>> promise_; ///< While somebody waits for the result.
    std::exception_ptr failure_;
    bool subscribed_ = false;
    R accumulator_;
    bool reducing_ = false;   ///< A thread folds items in; it has taken the accumulator.
    bool completing_ = false; ///< The stream completed meanwhile.
    std::list<T> waiting_;    ///< What arrived meanwhile.
    std::weak_ptr<Subscription> subscription_;
};

} // namespace connector::reactive_streams
