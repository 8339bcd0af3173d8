#pragma once

#include <cstdint>
#include <exception>
#include <limits>
#include <memory>

#include "contract/common/Export.h"

/// Reactive streams: a publisher hands items to its subscriber at the pace that the subscriber asks
/// for. The calls of one stream follow the order `onSubscribe onNext* (onError | onComplete)?`,
/// never two at a time; a subscriber that throws breaks the stream's contract.
///
/// Ownership runs one way: whoever made the publisher keeps it, the publisher keeps its subscriber
/// until the stream has ended, and a subscriber keeps its subscription weakly or lets go of it at
/// the end. A stream whose publisher is dropped before its end falls silent.
namespace connector::reactive_streams {

/// The demand that never runs out.
inline constexpr std::uint64_t kUnboundedDemand = std::numeric_limits<std::uint64_t>::max();

/// Root of all publishers.
class CONNECTOR_API Publisher
{
public:
    virtual ~Publisher();
    Publisher(const Publisher&) = delete;
    Publisher& operator=(const Publisher&) = delete;

protected:
    Publisher() = default;
};

/// What a subscriber holds of its stream. Any thread may call it, from within `onNext` as well.
class CONNECTOR_API Subscription
{
public:
    virtual ~Subscription();
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;

    /// Adds @p n to the demand; `kUnboundedDemand` asks for everything.
    virtual void request(std::uint64_t n) = 0;

    /// Stops delivery: once it has returned no new call reaches the subscriber. A call that is
    /// running on another thread may still end.
    virtual void cancel() = 0;

protected:
    Subscription() = default;
};

/// Root of all subscribers.
class CONNECTOR_API Subscriber
{
public:
    virtual ~Subscriber();
    Subscriber(const Subscriber&) = delete;
    Subscriber& operator=(const Subscriber&) = delete;

    /// The first call. Nothing is delivered before the subscriber requests it.
    virtual void onSubscribe(std::shared_ptr<Subscription> subscription) = 0;

    /// Terminal failure: the last call.
    virtual void onError(std::exception_ptr failure) = 0;

    /// Terminal success: the last call.
    virtual void onComplete() = 0;

protected:
    Subscriber() = default;
};

/// Root of everything that both subscribes and publishes.
class CONNECTOR_API Processor
{
public:
    virtual ~Processor();
    Processor(const Processor&) = delete;
    Processor& operator=(const Processor&) = delete;

protected:
    Processor() = default;
};

/// A handle that ends something: a subscription, a timer.
class CONNECTOR_API Canceller
{
public:
    virtual ~Canceller();
    Canceller(const Canceller&) = delete;
    Canceller& operator=(const Canceller&) = delete;

    /// Ends it. Further calls do nothing.
    virtual void cancel() = 0;

protected:
    Canceller() = default;
};

/// A subscriber of items of type @p T.
template <typename T>
class CONNECTOR_API SubscriberAPI : public Subscriber
{
public:
    /// One item, never more than requested.
    virtual void onNext(T&& item) = 0;
};

/// A publisher of items of type @p T.
template <typename T>
class CONNECTOR_API PublisherAPI : public Publisher
{
public:
    /// Attaches @p subscriber, whose `onSubscribe` is called before this returns.
    /// @throws std::runtime_error with the publisher's own text when it takes no further one.
    virtual void subscribe(std::shared_ptr<SubscriberAPI<T>> subscriber) = 0;
};

/// Both a subscriber of @p In and a publisher of @p Out.
template <typename In, typename Out>
class CONNECTOR_API ProcessorAPI : public Processor,
                                   public SubscriberAPI<In>,
                                   public PublisherAPI<Out>
{};

} // namespace connector::reactive_streams
