#pragma once

#include <memory>
#include <utility>

#include "contract/streams/Streams.h"

namespace connector::reactive_streams {

/// Keeps a subscription of items of type @p V alive and ends it: on request, or when dropped.
template <typename V>
class TypedCanceller final : public Canceller
{
public:
    /// @param subscription may be null; then there is nothing to end.
    explicit TypedCanceller(std::shared_ptr<Subscription> subscription)
        : subscription_(std::move(subscription))
    {}

    ~TypedCanceller() override { TypedCanceller::cancel(); }

    void cancel() override
    {
        if (subscription_ != nullptr) {
            subscription_->cancel(); // idempotent by contract, so it needs no guard here
        }
    }

private:
    const std::shared_ptr<Subscription> subscription_;
};

} // namespace connector::reactive_streams
