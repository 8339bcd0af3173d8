// A server for the load tests and the ablation: providers with no pipeline in front of them.
//
//   load-host PORT
//
//   /constant   answers "Hello, world!"
//   /later      answers the same five seconds later
//   /feed       a WebSocket that gets what is published
//   /publish    publishes one message, and answers the number of WebSockets that it went to
//
// SIGTERM stops the server and ends the process.

#include <csignal>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <string>
#include <utility>
#include <vector>

#include "contract/common/Tick.h"
#include "contract/http/HttpServiceProvider.h"
#include "contract/http/MakeHttpResponse.h"
#include "contract/http/WebSocket.h"
#include "contract/messaging/LocalConnector.h"
#include "contract/messaging/Promise.h"
#include "contract/streams/CachedValuePublisher.h"
#include "host/DescriptorLimit.h"
#include "server/PocoHttpServer.h"

namespace connector::bench {
namespace {

using common::DataBuffer;
using http::WebSocketFrame;
using Reply = Future<std::unique_ptr<Message>>;

constexpr const char* kText = "Hello, world!";
constexpr long long kDelay = 5000;
constexpr std::uint8_t kFinalText = 0x81;
constexpr std::size_t kMaxConnections = 1'000'000; // descriptors are the limit

/// Answers some time after the request, from the tick thread.
class Later
{
public:
    Reply add()
    {
        const std::lock_guard lock(mutex_);
        auto& pending = pending_.emplace_back(common::getCurrentTick() + kDelay, Promise());
        return pending.second.getFuture();
    }

private:
    using Promise = connector::Promise<std::unique_ptr<Message>>;

    void resolve(long long now)
    {
        std::vector<Promise> due;
        {
            const std::lock_guard lock(mutex_);
            std::erase_if(pending_, [&](auto& pending) {
                const auto isDue = pending.first <= now;
                if (isDue) {
                    due.push_back(std::move(pending.second));
                }
                return isDue;
            });
        }
        for (auto& promise : due) {
            promise.setValue(http::makeHttpResponse(200, kText));
        }
    }

    std::mutex mutex_; ///< Guards pending_.
    std::vector<std::pair<long long, Promise>> pending_;
    const std::shared_ptr<common::TickManager::Canceller> timer_ =
        common::periodic([this](long long now) { resolve(now); }, 20);
};

/// Takes what clients send, and drops it.
class Ignorer final : public reactive_streams::SubscriberAPI<WebSocketFrame>
{
public:
    void onSubscribe(std::shared_ptr<reactive_streams::Subscription> subscription) override
    {
        subscription->request(reactive_streams::kUnboundedDemand);
    }
    void onNext(WebSocketFrame&& /*frame*/) override {}
    void onError(std::exception_ptr /*failure*/) override {}
    void onComplete() override {}
};

/// Sends each message to all of its WebSockets.
class Feed
{
public:
    Reply add()
    {
        const auto publisher = std::make_shared<Publisher>();
        const std::lock_guard lock(mutex_);
        streams_.push_back(publisher->stream());
        return makeReadyFuture<std::unique_ptr<Message>>(
            std::make_unique<http::WebSocket>(publisher, std::make_shared<Ignorer>()));
    }

    std::size_t publish()
    {
        std::unique_lock lock(mutex_);
        const auto streams = streams_;
        lock.unlock();
        std::size_t reached = 0;
        for (const auto& weak : streams) {
            if (const auto stream = weak.lock()) {
                stream->publish(WebSocketFrame(DataBuffer(std::string_view(kText)), kFinalText));
                ++reached;
            }
        }
        return reached;
    }

private:
    using Publisher = reactive_streams::CachedValuePublisher<WebSocketFrame, std::function<void()>>;

    std::mutex mutex_; ///< Guards streams_.
    std::vector<std::weak_ptr<Publisher::CachedSubscription>> streams_;
};

class Provider final : public http::HttpServiceProvider
{
public:
    Reply handle(std::unique_ptr<http::HttpRequest>&& request, Address&& /*address*/,
                 std::shared_ptr<Context>&& /*context*/) override
    {
        if (request->path == "/later") {
            return later_.add();
        }
        if (request->path == "/feed") {
            return feed_.add();
        }
        return http::makeReadyHttpResponse(
            200, request->path == "/publish" ? std::to_string(feed_.publish()) : kText);
    }

private:
    Later later_;
    Feed feed_;
};

void serve(unsigned short port)
{
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    const auto bus = std::make_shared<LocalConnector>();
    bus->registerProvider("load", std::make_shared<Provider>());
    http::PocoHttpServer server(bus, port, {.maxConnections = kMaxConnections});
    server.setAddress("load");
    server.start();
    std::cout << "HTTP: " << server.getPort() << std::endl;
    int signal = 0;
    sigwait(&ending, &signal);
    server.stop();
}

} // namespace
} // namespace connector::bench

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: load-host PORT\n";
        return 2;
    }
    try {
        connector::host::raiseDescriptorLimit();
        connector::bench::serve(static_cast<unsigned short>(std::atoi(argv[1])));
        return EXIT_SUCCESS;
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << "\n";
        return EXIT_FAILURE;
    }
}
