#pragma once

#include <exception>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "contract/streams/Demand.h"
#include "contract/streams/Streams.h"

namespace connector::reactive_streams {

/// Publishes one item, then completes. Owned by `std::shared_ptr`; it is its subscriber's
/// subscription itself, so that a body costs one allocation.
///
/// @tparam Source what the item is made of: the item itself, or a type whose `T read() const` makes
///         it once it is asked for. What `read` throws is the failure of the stream.
template <typename T, typename Source = T>
class OneShotPublisher final : public PublisherAPI<T>,
                               public std::enable_shared_from_this<OneShotPublisher<T, Source>>,
                               private Subscription
{
public:
    explicit OneShotPublisher(Source source) : source_(std::move(source)) {}

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

    /// Takes the source without a subscription. Nobody can subscribe afterwards.
    /// @return nothing if somebody has subscribed already.
    std::optional<Source> take()
    {
        std::optional<Source> source;
        const std::lock_guard lock(mutex_);
        if (!std::exchange(subscribed_, true)) {
            source.swap(source_);
        }
        return source;
    }

private:
    void request(std::uint64_t n) override
    {
        std::optional<Source> source;
        {
            const std::lock_guard lock(mutex_);
            demand_.add(n);
            if (!source_.has_value() || subscriber_ == nullptr || !demand_.take()) {
                return;
            }
            source.swap(source_);
        }
        if constexpr (std::is_same_v<T, Source>) {
            deliver(std::move(*source));
        } else {
            std::optional<T> item;
            try {
                item = source->read();
            } catch (...) {
                end([failure = std::current_exception()](auto& to) { to.onError(failure); });
                return;
            }
            deliver(std::move(*item));
        }
    }

    void deliver(T&& item)
    {
        if (const auto subscriber = current()) {
            subscriber->onNext(std::move(item));
        }
        end([](auto& to) { to.onComplete(); });
    }

    template <typename Call>
    void end(Call call)
    {
        std::unique_lock lock(mutex_);
        const auto subscriber = std::exchange(subscriber_, nullptr);
        lock.unlock();
        if (subscriber != nullptr) {
            call(*subscriber);
        }
    }

    std::shared_ptr<SubscriberAPI<T>> current()
    {
        const std::lock_guard lock(mutex_);
        return subscriber_;
    }

    void cancel() override
    {
        std::optional<Source> spent;
        std::shared_ptr<SubscriberAPI<T>> released;
        const std::lock_guard lock(mutex_);
        spent.swap(source_);
        released.swap(subscriber_);
    }

    std::mutex mutex_; ///< Guards all below.
    std::optional<Source> source_;
    Demand demand_;
    bool subscribed_ = false;
    std::shared_ptr<SubscriberAPI<T>> subscriber_; ///< Null before, after the end, and cancelled.
};

/// Takes what a publisher holds, as `OneShotPublisher::take`, if its type is exactly @p Publisher.
/// Comparing types is much cheaper than the equivalent dynamic_cast.
/// @return nothing if it is another one, or somebody has subscribed already.
template <typename Publisher, typename T>
auto takeFrom(PublisherAPI<T>& publisher) -> decltype(std::declval<Publisher&>().take())
{
    if (typeid(publisher) == typeid(Publisher)) {
        return static_cast<Publisher&>(publisher).take();
    }
    return std::nullopt;
}

} // namespace connector::reactive_streams
