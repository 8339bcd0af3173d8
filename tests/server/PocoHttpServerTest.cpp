#include "server/PocoHttpServer.h"

#include <atomic>
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <stop_token>
#include <thread>
#include <vector>

#include "contract/http/HttpResponse.h"
#include "contract/http/HttpServiceProvider.h"
#include "contract/http/MakeHttpResponse.h"
#include "contract/messaging/LocalConnector.h"
#include "server/ServerLimits.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RawClient.h"

namespace connector::http {
namespace {

using connector::test::exchange;
using connector::test::findFreePort;
using connector::test::makeRequest;
using connector::test::RawClient;
using Reply = Future<std::unique_ptr<Message>>;

/// A provider made of a function.
class FunctionProvider final : public HttpServiceProvider
{
public:
    using Function = std::function<Reply(HttpRequest&)>;

    explicit FunctionProvider(Function function) : function_(std::move(function)) {}

    Reply handle(std::unique_ptr<HttpRequest>&& request, Address&& /*address*/,
                 std::shared_ptr<Context>&& /*context*/) override
    {
        return function_(*request);
    }

private:
    Function function_;
};

/// A running server whose requests end at one function.
class PocoHttpServerTest : public ::testing::Test
{
protected:
    void serve(FunctionProvider::Function function)
    {
        connector_->registerProvider("app",
                                     std::make_shared<FunctionProvider>(std::move(function)));
        server_->setAddress("app");
        server_->start();
    }

    test::WireResponse get(const std::string& path = "/")
    {
        return exchange(server_->getPort(), makeRequest("GET", path));
    }

    static Reply reply(unsigned short status, StringMultimap headers, StringMultimap cookies,
                       const std::string& body)
    {
        return makeReadyFuture<std::unique_ptr<Message>>(std::make_unique<HttpResponse>(
            status, std::move(headers), std::move(cookies), makeBody(common::DataBuffer(body))));
    }

    std::shared_ptr<LocalConnector> connector_ = std::make_shared<LocalConnector>();
    std::shared_ptr<PocoHttpServer> server_ =
        std::make_shared<PocoHttpServer>(connector_, findFreePort());
};

TEST_F(PocoHttpServerTest, StartsStopsAndStartsAgain)
{
    EXPECT_FALSE(server_->isStarted());
    serve([](HttpRequest&) { return makeReadyHttpResponse(200, "hello"); });
    const auto port = server_->getPort();
    server_->start();
    EXPECT_TRUE(server_->isRunning());
    EXPECT_EQ(server_->getPort(), port);
    EXPECT_EQ(get().body, "hello");
    EXPECT_EQ(server_->getTotalRequests(), 1U) << "the server's own probe is not counted";
    EXPECT_THROW(server_->setPort(1), std::runtime_error);
    EXPECT_THROW(server_->setSocketAddress("x"), std::runtime_error);

    RawClient closed(port); // by the server first, which leaves a TIME_WAIT on its port
    closed.send(makeRequest("GET", "/", "Connection: close\r\n"));
    closed.readUntilClosed();

    server_->stop();
    server_->stop();
    EXPECT_FALSE(server_->isStarted());
    server_->start();
    EXPECT_EQ(server_->getPort(), port) << "closed connections must not take the port";
    EXPECT_EQ(get().status, 200);
}

TEST_F(PocoHttpServerTest, MovesToTheNextFreePort)
{
    serve([](HttpRequest&) { return makeReadyHttpResponse(200, "first"); });
    PocoHttpServer second(connector_, server_->getPort());
    second.setAddress("app");
    second.start();
    EXPECT_GT(second.getPort(), server_->getPort());
    EXPECT_EQ(exchange(second.getPort(), makeRequest("GET", "/")).body, "first");
}

TEST_F(PocoHttpServerTest, DeliversTheRequestAndItsBody)
{
    std::unique_ptr<HttpRequest> seen;
    std::string body;
    serve([&](HttpRequest& request) {
        seen = std::make_unique<HttpRequest>(request.baseUrl, request.path, request.query,
                                             request.method, std::move(request.headers),
                                             std::move(request.cookies),
                                             std::move(request.parameters), request.local, nullptr);
        return makeReadyFuture<std::unique_ptr<Message>>(
            std::make_unique<HttpResponse>(std::uint16_t{200}, request.body));
    });
    const auto answer = exchange(
        server_->getPort(), "PUT /a/../b%20c?X=1&x=%32 HTTP/1.1\r\nHOST: h:1\r\nCookie: s=t\r\n"
                            "Transfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n");
    EXPECT_EQ(answer.body, "abc");
    ASSERT_NE(seen, nullptr);
    EXPECT_EQ(seen->baseUrl, "http://h:1/");
    EXPECT_EQ(seen->path, "/b c");
    EXPECT_EQ(seen->query, "X=1&x=2");
    EXPECT_EQ(seen->method, "put");
    EXPECT_EQ(seen->headers.count("host"), 1U);
    EXPECT_EQ(seen->cookies.find("s")->second, "t");
    EXPECT_EQ(seen->parameters.count("x"), 2U);
    EXPECT_TRUE(seen->local);
}

TEST_F(PocoHttpServerTest, WritesRepliesSafely)
{
    struct Case
    {
        const char* name;
        StringMultimap headers;
        StringMultimap cookies;
        int status;
        const char* connection;
    };
    const std::vector<Case> table = {
        {"plain", {{"X-A", "1"}}, {{"s", "t; Path=/"}}, 200, "Keep-Alive"},
        {"chunked", {{"Transfer-Encoding", "chunked"}}, {}, 200, "Keep-Alive"},
        {"too long", {{"content-length", "9"}}, {}, 200, "Close"},
        {"too short", {{"Content-Length", "2"}}, {}, 200, "Keep-Alive"},
        {"close", {{"connection", "close"}}, {}, 200, "Close"},
        {"negative", {{"Content-Length", "-1"}}, {}, 500, "Keep-Alive"},
        {"2 GiB", {{"Content-Length", "2147483648"}}, {}, 500, "Keep-Alive"},
        {"no number", {{"Content-Length", "4x"}}, {}, 500, "Keep-Alive"},
        {"split value", {{"X-A", "1\r\nX-B: 2"}}, {}, 500, "Keep-Alive"},
        {"split name", {{"X-A: 1\r\nX-B", "2"}}, {}, 500, "Keep-Alive"},
        {"split cookie", {}, {{"s", std::string("t\0", 2)}}, 500, "Keep-Alive"},
    };
    std::atomic<std::size_t> index = 0;
    serve([&](HttpRequest&) {
        const auto& entry = table[index];
        return reply(200, entry.headers, entry.cookies, "body");
    });
    for (index = 0; index < table.size(); ++index) {
        const auto& entry = table[index];
        SCOPED_TRACE(entry.name);
        RawClient client(server_->getPort());
        client.send(makeRequest("HEAD", "/"));
        const auto head = client.readResponse(true);
        EXPECT_EQ(head.status, entry.status);
        EXPECT_EQ(head.headers.count("transfer-encoding"), 0U);
        EXPECT_EQ(head.headers.count("x-b"), 0U);
        EXPECT_EQ(head.headers.count("content-length"), 1U);

        RawClient second(server_->getPort());
        second.send(makeRequest("GET", "/"));
        if (entry.connection == std::string("Close")) {
            const auto answer = second.readUntilClosed();
            EXPECT_TRUE(answer.find("Connection: Close\r\n") != std::string::npos) << answer;
            EXPECT_TRUE(answer.ends_with("\r\n\r\nbody")) << answer;
        } else {
            EXPECT_EQ(second.readResponse().header("connection"), entry.connection);
        }
    }
}

TEST_F(PocoHttpServerTest, StopDoesNotWaitForClientsOrForRepliesThatNeverCome)
{
    std::promise<void> waiting;
    Promise<std::unique_ptr<Message>> never;
    std::stop_token token;
    serve([&](HttpRequest& request) {
        if (request.path == "/never") {
            token = request.stopToken;
            waiting.set_value();
            return never.getFuture();
        }
        return makeReadyHttpResponse(200, "ok");
    });
    std::vector<std::unique_ptr<RawClient>> idle;
    for (int i = 0; i < 20; ++i) {
        idle.push_back(std::make_unique<RawClient>(server_->getPort()));
        idle.back()->send(makeRequest("GET", "/"));
        EXPECT_EQ(idle.back()->readResponse().body, "ok");
    }
    RawClient silent(server_->getPort());
    RawClient half(server_->getPort());
    half.send("GET / HT");
    RawClient blocked(server_->getPort());
    blocked.send(makeRequest("GET", "/never"));
    waiting.get_future().wait();
    EXPECT_FALSE(token.stop_requested());

    // Without the aborts this would take 10 s, more than the time limit of the test.
    server_->stop();
    EXPECT_TRUE(token.stop_requested());
    EXPECT_EQ(blocked.readUntilClosed(), "");
    EXPECT_EQ(server_->getActiveRequests(), 0U);
}

TEST_F(PocoHttpServerTest, StopWaitsForAProviderThatBlocksItsThread)
{
    std::promise<void> entered;
    std::promise<void> leave;
    std::atomic<bool> left = false;
    serve([&](HttpRequest&) {
        entered.set_value();
        leave.get_future().wait();
        left = true;
        return makeReadyHttpResponse(200, "late");
    });
    RawClient client(server_->getPort());
    client.send(makeRequest("GET", "/"));
    entered.get_future().wait();
    auto stopped = std::async(std::launch::async, [&] {
        server_->stop();
        return left.load();
    });
    while (server_->isStarted()) {
        std::this_thread::yield();
    }
    leave.set_value();
    EXPECT_TRUE(stopped.get()) << "a handler outlived the stop";
}

TEST_F(PocoHttpServerTest, RefusesToBeStoppedByItsOwnRequest)
{
    serve([&](HttpRequest&) {
        server_->start();
        EXPECT_NE(server_->getPort(), 0);
        server_->stop();
        return makeReadyHttpResponse(200, "");
    });
    EXPECT_EQ(get().body, "Error while processing HTTP request. "
                          "A server can not be stopped from one of its own requests.");
    EXPECT_TRUE(server_->isRunning());
}

TEST_F(PocoHttpServerTest, AbandonsABodyWhoseClientHasGone)
{
    /// Never publishes anything, and tells of its cancellation.
    class SilentBody final : public reactive_streams::PublisherAPI<common::DataBuffer>,
                             public reactive_streams::Subscription,
                             public std::enable_shared_from_this<SilentBody>
    {
    public:
        void subscribe(std::shared_ptr<reactive_streams::SubscriberAPI<common::DataBuffer>>
                           subscriber) override
        {
            subscriber->onSubscribe(shared_from_this());
            subscribed.set_value();
        }
        void request(std::uint64_t) override {}
        void cancel() override { cancelled.set_value(); }

        std::promise<void> subscribed;
        std::promise<void> cancelled;
    };
    const auto body = std::make_shared<SilentBody>();
    serve([&](HttpRequest&) {
        return makeReadyFuture<std::unique_ptr<Message>>(
            std::make_unique<HttpResponse>(std::uint16_t{200}, body));
    });
    const test::ScopedLogCapture log;
    {
        RawClient client(server_->getPort());
        client.send(makeRequest("GET", "/slow?q=1"));
        body->subscribed.get_future().wait();
    }
    body->cancelled.get_future().wait();
    server_->stop();
    EXPECT_TRUE(log.contains("Socket error: get http://"));
    EXPECT_TRUE(log.contains("/slow?q=1 [200]"));
}

TEST_F(PocoHttpServerTest, TellsOfAClientThatLeftBeforeASlowAnswer)
{
    std::promise<void> asked;
    std::promise<void> left;
    serve([&](HttpRequest&) {
        asked.set_value();
        left.get_future().wait();
        std::this_thread::sleep_for(2 * kReplyStep); // what makes it slow
        return makeReadyHttpResponse(200, "");
    });
    const test::ScopedLogCapture log;
    {
        RawClient client(server_->getPort());
        client.send(makeRequest("GET", "/slow?q=1"));
        asked.get_future().wait();
    }
    left.set_value();
    while (!log.contains("The client closed the connection before its answer: get http://")) {
        std::this_thread::yield();
    }
}

TEST_F(PocoHttpServerTest, FailuresOfThePipelineAreA500)
{
    serve([](HttpRequest& request) -> Reply {
        if (request.path == "/throw") {
            throw std::runtime_error("boom");
        }
        if (request.path == "/unknown") {
            throw 42;
        }
        if (request.path == "/dropped") {
            return Promise<std::unique_ptr<Message>>().getFuture();
        }
        return makeReadyFuture(std::make_unique<Message>());
    });
    const std::string prefix = "Error while processing HTTP request. ";
    RawClient client(server_->getPort());
    for (const auto& [path, body] : std::vector<std::pair<std::string, std::string>>{
             {"/throw", prefix + "boom"},
             {"/unknown", "Unknown error while processing HTTP request."},
             {"/dropped", prefix + "Promise destroyed before it provided a value."}}) {
        client.send(makeRequest("GET", path));
        const auto answer = client.readResponse();
        EXPECT_EQ(answer.status, 500);
        EXPECT_EQ(answer.body, body);
    }
    client.send(makeRequest("GET", "/other"));
    EXPECT_EQ(client.readUntilClosed(), "") << "a reply of another type is not answered";
}

} // namespace
} // namespace connector::http
