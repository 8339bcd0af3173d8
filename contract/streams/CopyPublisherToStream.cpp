#include "contract/streams/CopyPublisherToStream.h"

#include <ostream>
#include <utility>

namespace connector::reactive_streams {

namespace {

class StreamSubscriber final : public SubscriberAPI<common::DataBuffer>
{
public:
    explicit StreamSubscriber(std::ostream& stream) : stream_(stream) {}

    Future<bool> getResult() { return promise_.getFuture(); }

    void onSubscribe(std::shared_ptr<Subscription> subscription) override
    {
        subscription->request(kUnboundedDemand);
    }

    void onNext(common::DataBuffer&& item) override
    {
        stream_.write(item.view().data(), static_cast<std::streamsize>(item.size()));
    }

    void onError(std::exception_ptr failure) override { promise_.setException(std::move(failure)); }

    void onComplete() override
    {
        stream_.flush();
        promise_.setValue(stream_.good());
    }

private:
    std::ostream& stream_; // outlives the stream by the caller's promise
    Promise<bool> promise_;
};

} // namespace

Future<bool>
copyPublisherToStream(const std::shared_ptr<PublisherAPI<common::DataBuffer>>& publisher,
                      std::ostream& stream)
{
    const auto subscriber = std::make_shared<StreamSubscriber>(stream);
    auto result = subscriber->getResult();
    publisher->subscribe(subscriber);
    return result;
}

} // namespace connector::reactive_streams
