#pragma once

#include <deque>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "contract/streams/Demand.h"
#include "contract/streams/Streams.h"

namespace connector::reactive_streams {

/// The state of a CachedValuePublisher and the subscription of its one subscriber. Values that the
/// subscriber has asked for wait for it in order; beyond its demand the latest value alone is kept.
///
/// @tparam OnCancel called once, with no lock held, when the subscriber cancels.
template <typename T, typename OnCancel>
class CachedValueSubscription final : public Subscription
{
public:
    explicit CachedValueSubscription(OnCancel onCancel) : onCancel_(std::move(onCancel)) {}

    /// Hands @p value to the subscriber, at once or when it asks. Values published by several
    /// threads arrive one at a time, in one order. What the subscriber throws passes through, once
    /// the values that wait behind are delivered; of several exceptions the first.
    void publish(T value)
    {
        std::unique_lock lock(mutex_);
        if (state_ != State::Open) {
            return;
        }
        if (waiting_.size() > demand_.count()) {
            waiting_.back() = std::move(value);
        } else {
            waiting_.push_back(std::move(value));
        }
        deliver(lock);
    }

    /// Completes the stream behind the values that were asked for.
    void complete()
    {
        std::unique_lock lock(mutex_);
        if (state_ == State::Open) {
            state_ = State::Completing;
            deliver(lock);
        }
    }

    /// @throws std::runtime_error "Only one subscription allowed." the second time.
    void attach(const std::shared_ptr<SubscriberAPI<T>>& subscriber,
                const std::shared_ptr<CachedValueSubscription>& self)
    {
        {
            const std::lock_guard lock(mutex_);
            if (attached_) {
                throw std::runtime_error("Only one subscription allowed.");
            }
            attached_ = true;
        }
        subscriber->onSubscribe(self);
        std::unique_lock lock(mutex_);
        if (state_ != State::Ended) {
            subscriber_ = subscriber;
            deliver(lock);
        }
    }

    void request(std::uint64_t n) override
    {
        std::unique_lock lock(mutex_);
        demand_.add(n);
        deliver(lock);
    }

    void cancel() override
    {
        std::shared_ptr<SubscriberAPI<T>> released;
        std::deque<T> dropped;
        {
            const std::lock_guard lock(mutex_);
            if (state_ == State::Ended) {
                return;
            }
            state_ = State::Ended;
            released.swap(subscriber_);
            dropped.swap(waiting_);
        }
        if (onCancel_) {
            onCancel_();
        }
    }

private:
    enum class State
    {
        Open,
        Completing,
        Ended
    };

    /// Lets go of the lock around each call of the subscriber. One thread delivers at a time;
    /// others leave their values to it.
    void deliver(std::unique_lock<std::mutex>& lock)
    {
        if (delivering_) {
            return;
        }
        std::exception_ptr failure;
        delivering_ = true;
        while (subscriber_ != nullptr && !waiting_.empty() && demand_.take()) {
            const auto subscriber = subscriber_;
            auto value = std::move(waiting_.front());
            waiting_.pop_front();
            lock.unlock();
            try {
                subscriber->onNext(std::move(value));
            } catch (...) {
                failure = failure != nullptr ? failure : std::current_exception();
            }
            lock.lock();
        }
        delivering_ = false;
        if (state_ == State::Completing && subscriber_ != nullptr && waiting_.empty()) {
            state_ = State::Ended;
            const auto subscriber = std::exchange(subscriber_, nullptr);
            lock.unlock();
            subscriber->onComplete();
            lock.lock();
        }
        if (failure != nullptr) {
            lock.unlock();
            std::rethrow_exception(failure);
        }
    }

    const OnCancel onCancel_;

    std::mutex mutex_; ///< Guards all below.
    State state_ = State::Open;
    bool attached_ = false;
    bool delivering_ = false;
    Demand demand_;
    std::deque<T> waiting_; ///< Never longer than the demand and one more.
    std::shared_ptr<SubscriberAPI<T>> subscriber_;
};

} // namespace connector::reactive_streams
