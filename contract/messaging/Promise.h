#pragma once

#include "contract/messaging/Future.h"

namespace connector {

/// The sending end of a one-value hand-over. Movable, not copyable. It is resolved once, from any
/// thread; continuations run on the resolving thread with no lock held.
///
/// A promise that is destroyed unresolved fails its future with "Promise destroyed before it
/// provided a value.".
template <typename T>
class Promise
{
public:
    Promise() : state_(std::make_shared<State>()) {}

    Promise(Promise&& other) noexcept
        : state_(std::move(other.state_)), handedOut_(std::exchange(other.handedOut_, false))
    {}
    Promise& operator=(Promise&& other) noexcept
    {
        Promise moved(std::move(other));
        std::swap(state_, moved.state_);
        std::swap(handedOut_, moved.handedOut_);
        return *this;
    }

    ~Promise()
    {
        if (state_ == nullptr) {
            return;
        }
        try {
            abandon();
        } catch (...) { // NOLINT(bugprone-empty-catch): a destructor has nobody to tell
        }
    }

    /// Hands the future out.
    /// @throws std::runtime_error "Promise already returned a future." the second time; "Promise
    ///         state isn't valid!" on a moved-from promise.
    [[nodiscard]] Future<T> getFuture()
    {
        requireState();
        if (handedOut_) {
            throw std::runtime_error("Promise already returned a future.");
        }
        handedOut_ = true;
        return Future<T>(state_);
    }

    /// Resolves the state with a value. A cancelled future drops it.
    /// @throws std::runtime_error "Promise already resolved." the second time; "Promise state isn't
    ///         valid!" on a moved-from promise.
    void setValue(T value)
    {
        resolve([&value](State& state) { state.result.template emplace<T>(std::move(value)); });
    }

    /// Resolves the state with an exception; see common::nonNullFailure for a null pointer.
    /// @throws std::runtime_error as `setValue`.
    void setException(std::exception_ptr failure)
    {
        resolve([&failure](State& state) {
            state.result.template emplace<std::exception_ptr>(
                common::nonNullFailure(std::move(failure)));
        });
    }

private:
    using State = detail::FutureState<T>;
    using Phase = detail::Phase;

    void requireState() const
    {
        if (state_ == nullptr) {
            throw std::runtime_error("Promise state isn't valid!");
        }
    }

    void abandon()
    {
        {
            const std::lock_guard lock(state_->mutex);
            if (state_->resolved) {
                return;
            }
        }
        setException(std::make_exception_ptr(
            std::runtime_error("Promise destroyed before it provided a value.")));
    }

    template <typename Store>
    void resolve(const Store& store)
    {
        requireState();
        std::unique_lock lock(state_->mutex);
        if (state_->resolved) {
            throw std::runtime_error("Promise already resolved.");
        }
        state_->resolved = true;
        if (state_->phase == Phase::Cancelled) {
            return;
        }
        store(*state_);
        state_->phase = Phase::Ready;
        auto continuation = std::move(state_->continuation);
        // Notified under the lock: the waiter may destroy the state as soon as it gets the mutex.
        state_->changed.notify_all();
        lock.unlock();
        if (continuation != nullptr) {
            continuation->run(Future<T>(state_));
        }
    }

    std::shared_ptr<State> state_;
    bool handedOut_ = false;
};

namespace detail {

/// Runs a continuation and returns its result as a future, whatever form it has.
template <typename T, typename F>
auto callContinuation(F& continuation, Future<T>&& resolved)
    -> Future<typename ContinuationResult<F, T>::Type>
{
    using Result = std::invoke_result_t<F, Future<T>>;
    using Value = typename ContinuationResult<F, T>::Type;
    try {
        if constexpr (std::is_same_v<Result, Future<Value>>) {
            return continuation(std::move(resolved));
        } else {
            return makeReadyFuture<Value>(continuation(std::move(resolved)));
        }
    } catch (...) {
        return makeFailedFuture<Value>(std::current_exception());
    }
}

/// Resolves @p promise with what @p future will hold.
template <typename R>
void forwardResult(Future<R>&& future, Promise<R>&& promise)
{
    try {
        static_cast<void>(
            future.then([promise = std::move(promise)](Future<R> resolved) mutable -> bool {
                try {
                    promise.setValue(resolved.get());
                } catch (...) {
                    promise.setException(std::current_exception());
                }
                return true;
            }));
    } catch (...) { // The future had no value to give: the dropped promise says so to its future.
    }
}

/// A continuation whose result goes to a promise.
template <typename T, typename R, typename F>
class PromisedContinuation final : public Continuation<T>
{
public:
    PromisedContinuation(F&& function, Promise<R>&& promise)
        : function_(std::move(function)), promise_(std::move(promise))
    {}
    PromisedContinuation(const F& function, Promise<R>&& promise)
        : function_(function), promise_(std::move(promise))
    {}

    void run(Future<T>&& resolved) override
    {
        auto result = callContinuation<T>(function_, std::move(resolved));
        forwardResult(std::move(result), std::move(promise_));
    }

private:
    F function_;
    Promise<R> promise_;
};

} // namespace detail

template <typename T>
template <typename F>
auto Future<T>::then(F&& continuation) -> Future<typename detail::ContinuationResult<F, T>::Type>
{
    using Value = typename detail::ContinuationResult<F, T>::Type;
    if (phase_ != Phase::Pending) {
        requireReady(phase_, kContinuationRefused);
        return detail::callContinuation<T>(continuation, Future<T>(takeResult()));
    }
    auto& state = validState();
    std::unique_lock lock(state.mutex);
    if (state.phase == Phase::Pending) {
        Promise<Value> promise;
        auto result = promise.getFuture();
        using Attached = detail::PromisedContinuation<T, Value, std::decay_t<F>>;
        state.continuation =
            std::make_unique<Attached>(std::forward<F>(continuation), std::move(promise));
        phase_ = Phase::Taken;
        lock.unlock();
        state_.reset();
        return result;
    }
    requireReady(state.phase, kContinuationRefused);
    auto result = takeResult(state);
    phase_ = Phase::Taken;
    lock.unlock();
    state_.reset();
    return detail::callContinuation<T>(continuation, Future<T>(std::move(result)));
}

} // namespace connector
