#include <algorithm>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <list>
#include <memory>
#include <mutex>
#include <ranges>
#include <semaphore>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "contract/http/MakeHttpResponse.h"
#include "contract/http/WebSocket.h"
#include "contract/messaging/LocalConnector.h"
#include "contract/streams/TransformProcessor.h"
#include "server/PocoHttpServer.h"
#include "tests/support/HttpMessages.h"
#include "tests/support/WebSocketClient.h"

namespace connector::http {
namespace {

using test::exchange;
using test::FunctionProvider;
using test::makeRequest;
using test::maskedFrame;
using test::RawClient;
using test::WebSocketClient;
using MessagePromise = Promise<std::unique_ptr<Message>>;

std::ptrdiff_t countThreads()
{
    return std::ranges::distance(std::filesystem::directory_iterator("/proc/self/task"));
}

std::unique_ptr<Message> makeEcho()
{
    using Echo = reactive_streams::TransformProcessor<WebSocketFrame, WebSocketFrame>;
    const auto echo = std::make_shared<Echo>([](auto&& item) { return item; });
    return std::make_unique<WebSocket>(echo, echo);
}

/// A body that blocks the thread that subscribes to it, without announcing it.
class BlockingBody final : public reactive_streams::PublisherAPI<common::DataBuffer>
{
public:
    explicit BlockingBody(std::shared_future<void> leave) : leave_(std::move(leave)) {}

    void
    subscribe(std::shared_ptr<reactive_streams::SubscriberAPI<common::DataBuffer>> /*subscriber*/)
        override
    {
        leave_.wait();
        throw std::runtime_error("left");
    }

private:
    const std::shared_future<void> leave_;
};

/// How a server uses its threads, and what it grants to its clients.
class EngineTest : public ::testing::Test
{
protected:
    void start(const ServerLimits& limits = {})
    {
        connector_->registerProvider(
            "app", std::make_shared<FunctionProvider>([this](HttpRequest& request) {
                if (request.path == "/later") {
                    const std::lock_guard lock(mutex_);
                    return later_.emplace_back().getFuture();
                }
                if (request.path == "/block") {
                    entered_.release();
                    leave_.wait();
                }
                if (request.path == "/echo") {
                    return makeReadyFuture<std::unique_ptr<Message>>(makeEcho());
                }
                return makeReadyHttpResponse(200, request.path);
            }));
        server_ = std::make_shared<PocoHttpServer>(connector_, test::findFreePort(), limits);
        server_->setAddress("app");
        server_->start();
    }

    /// Sends a request whose reply comes later.
    RawClient& sendLater(std::list<RawClient>& clients, const std::string& rest)
    {
        auto& client = clients.emplace_back(server_->getPort());
        client.send("GET /later HTTP/1.1\r\nHost: x\r\n" + rest);
        for (std::unique_lock lock(mutex_); later_.size() < clients.size(); lock.lock()) {
            lock.unlock();
            std::this_thread::yield();
        }
        return client;
    }

    void awaitNoRequest()
    {
        const auto end = std::chrono::steady_clock::now() + RawClient::kDeadline;
        while (server_->getActiveRequests() > 0 && std::chrono::steady_clock::now() < end) {
            std::this_thread::yield();
        }
        EXPECT_EQ(server_->getActiveRequests(), 0U);
    }

    void expectService()
    {
        EXPECT_EQ(exchange(server_->getPort(), makeRequest("GET", "/now")).body, "/now");
    }

    std::mutex mutex_; ///< Guards later_.
    std::vector<MessagePromise> later_;
    std::counting_semaphore<> entered_{0};
    std::promise<void> open_;
    std::shared_future<void> leave_ = open_.get_future().share();
    std::shared_ptr<LocalConnector> connector_ = std::make_shared<LocalConnector>();
    std::shared_ptr<PocoHttpServer> server_;
};

TEST_F(EngineTest, ConnectionsHoldNoThread)
{
    start();
    const auto port = server_->getPort();
    expectService();
    const auto threads = countThreads();
    std::list<RawClient> clients;
    std::list<WebSocketClient> webSockets;
    for (int i = 0; i < 80; ++i) {
        auto& idle = clients.emplace_back(port);
        idle.send(makeRequest("GET", "/"));
        idle.readResponse();
        clients.emplace_back(port).send("GET / HT");
        clients.emplace_back(port).send(makeRequest("PUT", "/", "Content-Length: 9\r\n") + "part");
        webSockets.emplace_back(port, "/echo").sendFrame(0x81, "hello");
    }
    expectService();
    for (auto& webSocket : webSockets) {
        EXPECT_EQ(webSocket.readFrame(), "81:hello");
    }
    EXPECT_LE(countThreads(), threads + 4);
    server_->stop();
    EXPECT_EQ(webSockets.front().readClose(), 1001U);
}

TEST_F(EngineTest, BodiesShareTheirMemory)
{
    const auto budget = std::make_shared<common::MemoryBudget>(3'000'000);
    start({.bodyMemory = budget});
    const auto put = [](std::size_t size) {
        return makeRequest("PUT", "/block", "Content-Length: " + std::to_string(size) + "\r\n");
    };
    RawClient announced(server_->getPort());
    announced.send(put(1'000'000'000));
    RawClient first(server_->getPort());
    first.send(put(2'000'000) + std::string(2'000'000, 'x'));
    entered_.acquire(); // the request holds its body
    EXPECT_EQ(budget->used(), 2'000'000U) << "an announcement takes no memory";
    RawClient second(server_->getPort());
    second.send(put(2'000'000) + std::string(2'000'000, 'x'));
    EXPECT_EQ(second.readResponse().status, 503);
    budget->acquire(500'000); // as an upstream's body does
    EXPECT_THROW(budget->acquire(500'001), common::MemoryBudgetExceeded);
    budget->release(500'000);
    open_.set_value();
    EXPECT_EQ(first.readResponse().status, 200);
    EXPECT_EQ(budget->used(), 0U);
}

TEST_F(EngineTest, RepliesThatComeLaterHoldNoThread)
{
    constexpr std::size_t kRequests = 200;
    start();
    const auto threads = countThreads();
    std::list<RawClient> clients;
    for (std::size_t i = 0; i < kRequests; ++i) {
        clients.emplace_back(server_->getPort()).send(makeRequest("GET", "/later"));
    }
    while (server_->getActiveRequests() < kRequests) {
        std::this_thread::yield();
    }
    expectService();
    EXPECT_LE(countThreads(), threads + 4);
    std::vector<MessagePromise> promises;
    {
        const std::lock_guard lock(mutex_);
        promises.swap(later_);
    }
    for (auto& promise : promises) {
        promise.setValue(std::make_unique<HttpResponse>(
            200, makeBody(common::DataBuffer(std::string_view("late")))));
    }
    for (auto& client : clients) {
        EXPECT_EQ(client.readResponse().body, "late");
    }
}

TEST_F(EngineTest, RepliesThatBlockTheirThreadHoldUpNobody)
{
    start();
    std::list<RawClient> clients;
    for (int i = 0; i < 6; ++i) {
        sendLater(clients, "\r\n");
    }
    for (auto& promise : later_) {
        const auto body = &promise - later_.data() < 2
                              ? std::make_shared<BlockingBody>(leave_)
                              : makeBody(common::DataBuffer(std::string_view("late")));
        promise.setValue(std::make_unique<HttpResponse>(200, body));
    }
    for (auto& client : clients | std::views::drop(2)) {
        EXPECT_EQ(client.readResponse().body, "late");
    }
    expectService();
    open_.set_value();
    EXPECT_EQ(clients.front().readResponse().status, 500);
}

TEST_F(EngineTest, ClientsThatLeaveBeforeTheirReplyAreNoticed)
{
    start();
    std::list<RawClient> clients;
    sendLater(clients, "\r\n").reset();
    awaitNoRequest();
    sendLater(clients, test::kUpgradeHeaders + ("\r\n" + maskedFrame(0x81, "hello")))
        .finishSending();
    expectService(); // the end has been noted meanwhile
    later_.back().setValue(makeEcho());
    EXPECT_THAT(clients.back().readUntilClosed(), ::testing::EndsWith("\x81\x05hello"));
    awaitNoRequest();
}

TEST_F(EngineTest, ThreadsThatBlockUnannouncedAreReplacedUpToTheLimit)
{
    constexpr int kThreads = 64;
    start();
    std::list<RawClient> blocked;
    for (int i = 0; i < kThreads - 1; ++i) {
        blocked.emplace_back(server_->getPort()).send(makeRequest("GET", "/block"));
        entered_.acquire();
    }
    expectService(); // by the last thread
    for (int i = 0; i < 3; ++i) {
        blocked.emplace_back(server_->getPort()).send(makeRequest("GET", "/block"));
    }
    entered_.acquire();
    EXPECT_FALSE(entered_.try_acquire()) << "more requests run at once than there are threads";
    open_.set_value();
    for (auto& client : blocked) {
        EXPECT_EQ(client.readResponse().body, "/block");
    }
    expectService();
}

TEST_F(EngineTest, TheConnectionThatIsIdleForLongestMakesRoom)
{
    constexpr int kConnections = 20; // the server's own probe has gone long before the last one
    start({.maxConnections = kConnections});
    std::list<RawClient> clients;
    for (int i = 0; i < kConnections; ++i) {
        auto& client = clients.emplace_back(server_->getPort());
        client.send(makeRequest("GET", "/"));
        client.readResponse();
    }
    clients.front().send(makeRequest("GET", "/"));
    clients.front().readResponse();
    expectService();
    EXPECT_EQ(std::next(clients.begin())->readUntilClosed(), "");
    for (auto* client : {&clients.front(), &clients.back()}) {
        client->send(makeRequest("GET", "/kept"));
        EXPECT_EQ(client->readResponse().body, "/kept");
    }
}

TEST_F(EngineTest, ClientsBeyondALimitAreCutOff)
{
    using std::chrono::milliseconds;
    constexpr milliseconds kShort{20};
    const std::string upgrade = makeRequest("GET", "/echo", test::kUpgradeHeaders);
    const std::string put = makeRequest("PUT", "/", "Content-Length: 9\r\n");
    const std::tuple<ServerLimits, std::string, std::string> cases[] = {
        {{.headTimeout = kShort}, "GET / HT", "HTTP/1.1 408 "},
        {{.headTimeout = kShort}, makeRequest("GET", "/") + "GET / HT", "HTTP/1.1 200 "},
        {{.webSocket = {.pingTimeout = kShort}}, upgrade, "HTTP/1.1 101 "},
        {{.silenceTimeout = kShort}, put + "part", "HTTP/1.1 408 "},
        {{.minRate = 1000, .rateGrace = kShort}, put + "part", "HTTP/1.1 408 "},
        {{.transferTimeout = kShort}, put + "part", "HTTP/1.1 408 "},
        {{.firstByteTimeout = kShort}, "", ""},
        {{.keepAliveTimeout = kShort}, makeRequest("GET", "/"), "HTTP/1.1 200 "},
        {{.request = {.parameters = 1}}, makeRequest("GET", "/?a&b"), "HTTP/1.1 400 "},
        {{.request = {.cookies = 0}}, makeRequest("GET", "/", "Cookie: a=1\r\n"), "HTTP/1.1 431 "},
    };
    for (const auto& [limits, sent, answer] : cases) {
        SCOPED_TRACE(&limits - &std::get<0>(cases[0]));
        start(limits);
        RawClient client(server_->getPort());
        client.send(sent);
        EXPECT_EQ(client.readUntilClosed().substr(0, answer.size()), answer);
    }
}

} // namespace
} // namespace connector::http
