#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "contract/streams/Streams.h"

namespace connector::test {

/// Writes down what a publisher calls; asks for nothing by itself. For one thread.
template <typename T>
class RecordingSubscriber final : public reactive_streams::SubscriberAPI<T>
{
public:
    void onSubscribe(std::shared_ptr<reactive_streams::Subscription> given) override
    {
        subscription = std::move(given);
    }
    void onNext(T&& item) override
    {
        items.push_back(std::move(item));
        if (onItem) {
            onItem();
        }
    }
    void onError(std::exception_ptr given) override { failure = std::move(given); }
    void onComplete() override { ++completions; }

    std::shared_ptr<reactive_streams::Subscription> subscription;
    std::vector<T> items;
    std::exception_ptr failure;
    int completions = 0;
    std::function<void()> onItem;
};

} // namespace connector::test
