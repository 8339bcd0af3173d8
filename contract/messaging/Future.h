#pragma once

#include <chrono>
#include <stdexcept>
#include <type_traits>

#include "contract/messaging/FutureState.h"

namespace connector {

template <typename T>
class Promise;

namespace detail {

template <typename R>
struct Unwrapped
{
    using Type = R;
};
template <typename R>
struct Unwrapped<Future<R>>
{
    using Type = R;
};

} // namespace detail

/// The receiving end of a one-value hand-over. Movable, not copyable; one thread at a time uses a
/// future object, while the promise may be resolved from any other thread.
///
/// The value leaves the future once: by `get()` or into a continuation.
template <typename T>
class Future
{
public:
    /// A future without state: every operation but `valid()` throws.
    Future() = default;

    Future(Future&& other) noexcept
        : state_(std::move(other.state_)), continued_(std::exchange(other.continued_, false))
    {}
    Future& operator=(Future&& other) noexcept
    {
        state_ = std::move(other.state_);
        continued_ = std::exchange(other.continued_, false);
        return *this;
    }

    /// Whether the future has a state.
    [[nodiscard]] bool valid() const noexcept { return state_ != nullptr || continued_; }

    /// Whether `get()` would return or throw at once. Does not block.
    /// @throws std::runtime_error "Future state isn't valid!" without state.
    [[nodiscard]] bool isReady() const { return waitFor(std::chrono::milliseconds(0)); }

    /// Blocks until the state is resolved or @p duration has passed.
    /// @return whether the state is resolved (or cancelled, or its value already taken).
    /// @throws std::runtime_error "Future state isn't valid!" without state.
    [[nodiscard]] bool waitFor(std::chrono::milliseconds duration) const
    {
        if (continued_) {
            return true;
        }
        auto& state = validState();
        std::unique_lock lock(state.mutex);
        const auto resolved = [&state] { return state.phase != Phase::Pending; };
        // A wait of nothing is a look: no call to the clock on the common road.
        return resolved() ||
               (duration.count() > 0 && state.changed.wait_for(lock, duration, resolved));
    }

    /// Blocks until the state is resolved, then returns the value by move or rethrows the stored
    /// exception.
    /// @throws std::runtime_error "Future state isn't valid!" without state; "Future has been
    ///         cancelled." after `cancel()`; "Future already returned it's value or has an
    ///         associated continuation." once the value was taken or a continuation attached;
    ///         "Invalid Future state reached." for anything else.
    T get()
    {
        if (continued_) {
            throw std::runtime_error(kValueGone);
        }
        auto& state = validState();
        std::unique_lock lock(state.mutex);
        state.changed.wait(lock, [&state] { return state.phase != Phase::Pending; });
        requireReady(state, kValueGone);
        state.phase = Phase::Taken;
        auto result = std::exchange(state.result, std::monostate());
        lock.unlock();
        return unpack(std::move(result));
    }

    /// Attaches @p continuation, which receives the resolved future. It runs at once on this thread
    /// if the state is resolved already, else on the thread that resolves the promise. No lock is
    /// held while it runs.
    /// @param continuation callable with `Future<T>`; returns `R` or `Future<R>`.
    /// @return a future of the continuation's result; an exception that leaves the continuation
    ///         fails it.
    /// @throws std::runtime_error "Future state isn't valid!" without state; "Future has been
    ///         cancelled." after `cancel()`; "Future already has returned it's value or has an
    ///         associated continuation." once the value was taken or a continuation attached.
    template <typename F>
    auto then(F&& continuation)
        -> Future<typename detail::Unwrapped<std::invoke_result_t<F, Future<T>>>::Type>;

    /// Abandons the value: a later resolution is dropped and a continuation never runs. Waiters
    /// wake. Does nothing without state.
    void cancel() noexcept
    {
        if (state_ == nullptr) {
            return;
        }
        std::unique_ptr<detail::Continuation<T>> dropped;
        decltype(State::result) result;
        {
            const std::lock_guard lock(state_->mutex);
            state_->phase = Phase::Cancelled;
            dropped = std::move(state_->continuation);
            result = std::exchange(state_->result, std::monostate());
            state_->changed.notify_all();
        }
    }

private:
    using State = detail::FutureState<T>;
    using Phase = typename State::Phase;

    template <typename>
    friend class Promise;
    template <typename>
    friend class Future;

    static constexpr const char* kValueGone =
        "Future already returned it's value or has an associated continuation.";
    static constexpr const char* kContinuationRefused =
        "Future already has returned it's value or has an associated continuation.";

    explicit Future(std::shared_ptr<State> state) : state_(std::move(state)) {}

    State& validState() const
    {
        if (state_ == nullptr) {
            throw std::runtime_error("Future state isn't valid!");
        }
        return *state_;
    }

    static void requireReady(const State& state, const char* goneText)
    {
        switch (state.phase) {
        case Phase::Ready:
            return;
        case Phase::Taken:
            throw std::runtime_error(goneText);
        case Phase::Cancelled:
            throw std::runtime_error("Future has been cancelled.");
        case Phase::Pending:
            break;
        }
        throw std::runtime_error("Invalid Future state reached.");
    }

    static T unpack(decltype(State::result)&& result)
    {
        if (auto* failure = std::get_if<std::exception_ptr>(&result)) {
            std::rethrow_exception(std::move(*failure));
        }
        return std::get<T>(std::move(result));
    }

    std::shared_ptr<State> state_;
    bool continued_ = false; ///< The state went on into a continuation.
};

/// A future that already holds @p value.
template <typename T>
[[nodiscard]] Future<T> makeReadyFuture(T value)
{
    Promise<T> promise;
    promise.setValue(std::move(value));
    return promise.getFuture();
}

/// A future that already holds @p failure.
template <typename T>
[[nodiscard]] Future<T> makeFailedFuture(std::exception_ptr failure)
{
    Promise<T> promise;
    promise.setException(std::move(failure));
    return promise.getFuture();
}

/// A future that already holds a copy of @p exception.
template <typename T, typename E>
[[nodiscard]] Future<T> makeFailedFuture(const E& exception)
{
    return makeFailedFuture<T>(std::make_exception_ptr(exception));
}

} // namespace connector

#include "contract/messaging/Promise.h"
