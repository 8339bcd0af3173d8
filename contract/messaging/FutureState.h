#pragma once

#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>
#include <variant>

namespace connector {

template <typename T>
class Future;

namespace detail {

/// What runs once a future is resolved. Type-erased and movable-only, so that it may own promises.
template <typename T>
class Continuation
{
public:
    Continuation() = default;
    virtual ~Continuation() = default;

    Continuation(const Continuation&) = delete;
    Continuation& operator=(const Continuation&) = delete;

    virtual void run(Future<T>&& resolved) = 0;
};

/// What a future has come to.
enum class Phase
{
    Pending,
    Ready,
    Taken,
    Cancelled
};

/// A value, the exception in its place, or nothing yet.
template <typename T>
using Result = std::variant<std::monostate, T, std::exception_ptr>;

/// The state that one promise and one future share.
template <typename T>
struct FutureState
{
    std::mutex mutex; ///< Guards every member below.
    std::condition_variable changed;
    Phase phase = Phase::Pending;
    bool resolved = false; ///< Outlives Phase::Ready: a promise resolves once, taken or not.
    Result<T> result;
    std::unique_ptr<Continuation<T>> continuation;
};

} // namespace detail
} // namespace connector
