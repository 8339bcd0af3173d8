#pragma once

#include <chrono>
#include <stdexcept>
#include <type_traits>

#include "contract/common/Blocking.h"
#include "contract/common/Failure.h"
#include "contract/messaging/FutureState.h"

namespace connector {

template <typename T>
class Promise;
template <typename T>
[[nodiscard]] Future<T> makeReadyFuture(T value);
template <typename T>
[[nodiscard]] Future<T> makeFailedFuture(std::exception_ptr failure);

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

/// What the future of a continuation @p F of a `Future<T>` holds.
template <typename F, typename T>
struct ContinuationResult
{
    using Returned = std::invoke_result_t<F, Future<T>>;
    static_assert(!std::is_void_v<Returned>, "A continuation must return a value or a future.");
    using Type = typename Unwrapped<Returned>::Type;
};

} // namespace detail

/// The receiving end of a one-value hand-over. Movable, not copyable; one thread at a time uses a
/// future object, while the promise may be resolved from any other thread.
///
/// The value leaves the future once: by `get()` or into a continuation.
///
/// A future that was made ready holds its value itself, since no other thread will ever touch it:
/// nothing is allocated or locked for the replies that are there at once, as most are.
template <typename T>
class Future
{
public:
    /// A future without state: every operation but `valid()` throws.
    Future() = default;

    Future(Future&& other) noexcept
        : state_(std::move(other.state_)), phase_(std::exchange(other.phase_, Phase::Pending)),
          result_(std::exchange(other.result_, std::monostate()))
    {}
    Future& operator=(Future&& other) noexcept
    {
        state_ = std::move(other.state_);
        phase_ = std::exchange(other.phase_, Phase::Pending);
        result_ = std::exchange(other.result_, std::monostate());
        return *this;
    }

    /// Whether the future has a state.
    [[nodiscard]] bool valid() const noexcept
    {
        return state_ != nullptr || phase_ != Phase::Pending;
    }

    /// Whether `get()` would return or throw at once. Does not block.
    /// @throws std::runtime_error "Future state isn't valid!" without state.
    [[nodiscard]] bool isReady() const { return waitFor(std::chrono::milliseconds(0)); }

    /// Blocks until the state is resolved or @p duration has passed.
    /// @return whether the state is resolved (or cancelled, or its value already taken).
    /// @throws std::runtime_error "Future state isn't valid!" without state.
    [[nodiscard]] bool waitFor(std::chrono::milliseconds duration) const
    {
        if (phase_ != Phase::Pending) {
            return true;
        }
        auto& state = validState();
        std::unique_lock lock(state.mutex);
        const auto resolved = [&state] { return state.phase != Phase::Pending; };
        if (resolved() || duration.count() <= 0) {
            return resolved();
        }
        lock.unlock();
        common::announceBlocking();
        lock.lock();
        return state.changed.wait_for(lock, duration, resolved);
    }

    /// Blocks until the state is resolved, then returns the value by move or rethrows the stored
    /// exception.
    /// @throws std::runtime_error "Future state isn't valid!" without state; "Future has been
    ///         cancelled." after `cancel()`; "Future already returned it's value or has an
    ///         associated continuation." once the value was taken or a continuation attached;
    ///         "Invalid Future state reached." for anything else.
    T get()
    {
        if (phase_ != Phase::Pending) {
            requireReady(phase_, kValueGone);
            return unpack(takeResult());
        }
        if (!isReady()) {
            common::announceBlocking();
        }
        auto& state = validState();
        std::unique_lock lock(state.mutex);
        state.changed.wait(lock, [&state] { return state.phase != Phase::Pending; });
        requireReady(state.phase, kValueGone);
        auto result = takeResult(state);
        lock.unlock();
        return unpack(std::move(result));
    }

    /// Attaches @p continuation, which receives the resolved future. It runs at once on this thread
    /// if the state is resolved already, else on the thread that resolves the promise. No lock is
    /// held while it runs.
    /// @param continuation callable with `Future<T>`; returns `R` or `Future<R>`, never void.
    /// @return a future of the continuation's result; an exception that leaves the continuation
    ///         fails it.
    /// @throws std::runtime_error "Future state isn't valid!" without state; "Future has been
    ///         cancelled." after `cancel()`; "Future already has returned it's value or has an
    ///         associated continuation." once the value was taken or a continuation attached.
    template <typename F>
    auto then(F&& continuation) -> Future<typename detail::ContinuationResult<F, T>::Type>;

    /// As `then`, for a continuation that also receives @p kept by reference: as they stand if it
    /// runs at once, else copies that are made for it. So what all threads share need not be
    /// counted anew for the replies that are there at once, as most are.
    template <typename F, typename... Kept>
    auto thenKeeping(F continuation, const Kept&... kept)
    {
        if (isReady()) {
            return then(
                [&](Future resolved) { return continuation(std::move(resolved), kept...); });
        }
        return then([continuation = std::move(continuation), ... kept = kept](Future resolved) {
            return continuation(std::move(resolved), kept...);
        });
    }

    /// Abandons the value: a later resolution is dropped, waiters wake, and a continuation that has
    /// not begun never runs. Does nothing without state, nor once the value was taken.
    void cancel() noexcept
    {
        if (phase_ == Phase::Ready) {
            phase_ = Phase::Cancelled;
            result_ = std::monostate();
        }
        if (state_ == nullptr) {
            return;
        }
        std::unique_ptr<detail::Continuation<T>> dropped; // destroyed without the lock
        Result result;
        {
            const std::lock_guard lock(state_->mutex);
            dropped = std::move(state_->continuation);
            if (state_->phase == Phase::Taken) {
                return;
            }
            state_->phase = Phase::Cancelled;
            result = std::exchange(state_->result, std::monostate());
            state_->changed.notify_all();
        }
    }

private:
    using State = detail::FutureState<T>;
    using Phase = detail::Phase;
    using Result = detail::Result<T>;

    template <typename>
    friend class Promise;
    template <typename U>
    friend Future<U> makeReadyFuture(U value);
    template <typename U>
    friend Future<U> makeFailedFuture(std::exception_ptr failure);

    static constexpr const char* kValueGone =
        "Future already returned it's value or has an associated continuation.";
    static constexpr const char* kContinuationRefused =
        "Future already has returned it's value or has an associated continuation.";

    explicit Future(std::shared_ptr<State> state) : state_(std::move(state)) {}
    explicit Future(Result&& result) : phase_(Phase::Ready), result_(std::move(result)) {}

    State& validState() const
    {
        if (state_ == nullptr) {
            throw std::runtime_error("Future state isn't valid!");
        }
        return *state_;
    }

    Result takeResult()
    {
        phase_ = Phase::Taken;
        return std::exchange(result_, std::monostate());
    }

    static Result takeResult(State& state)
    {
        state.phase = Phase::Taken;
        return std::exchange(state.result, std::monostate());
    }

    static void requireReady(Phase phase, const char* goneText)
    {
        switch (phase) {
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

    static T unpack(Result&& result)
    {
        if (auto* failure = std::get_if<std::exception_ptr>(&result)) {
            std::rethrow_exception(std::move(*failure));
        }
        return std::get<T>(std::move(result));
    }

    std::shared_ptr<State> state_;
    Phase phase_ = Phase::Pending; ///< Pending: the shared state tells, if there is one.
    Result result_;                ///< If this future is ready by itself.
};

/// A future that already holds @p value.
template <typename T>
[[nodiscard]] Future<T> makeReadyFuture(T value)
{
    return Future<T>(detail::Result<T>(std::in_place_type<T>, std::move(value)));
}

/// A future that already holds @p failure; see common::nonNullFailure for a null pointer.
template <typename T>
[[nodiscard]] Future<T> makeFailedFuture(std::exception_ptr failure)
{
    return Future<T>(detail::Result<T>(std::in_place_type<std::exception_ptr>,
                                       common::nonNullFailure(std::move(failure))));
}

/// A future that already holds a copy of @p exception.
template <typename T, typename E>
[[nodiscard]] Future<T> makeFailedFuture(const E& exception)
{
    return makeFailedFuture<T>(std::make_exception_ptr(exception));
}

} // namespace connector

#include "contract/messaging/Promise.h"
