#pragma once

#include <memory>
#include <utility>

#include "contract/streams/CachedValueSubscription.h"

namespace connector::reactive_streams {

/// Publishes values as they come to a single subscriber and keeps the latest for one that has not
/// asked yet. Any thread may publish.
///
/// @tparam OnCancel callable without arguments; called once when the subscriber cancels.
template <typename T, typename OnCancel>
class CachedValuePublisher final : public PublisherAPI<T>
{
public:
    using CachedSubscription = CachedValueSubscription<T, OnCancel>;

    explicit CachedValuePublisher(OnCancel onCancel = OnCancel())
        : subscription_(std::make_shared<CachedSubscription>(std::move(onCancel)))
    {}

    /// @throws std::runtime_error "Only one subscription allowed." the second time.
    void subscribe(std::shared_ptr<SubscriberAPI<T>> subscriber) override
    {
        subscription_->attach(subscriber, subscription_);
    }

    /// See CachedValueSubscription::publish.
    void publish(T value) { subscription_->publish(std::move(value)); }

    /// The stream itself: whoever feeds it may hold it weakly and forget it once its publisher and
    /// its subscriber have let go.
    [[nodiscard]] std::shared_ptr<CachedSubscription> stream() const { return subscription_; }

private:
    std::shared_ptr<CachedSubscription> subscription_;
};

} // namespace connector::reactive_streams
