#include "server/PocoHttpServer.h"

#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <list>
#include <memory>
#include <stop_token>
#include <thread>

#include "contract/http/HttpError.h"
#include "contract/http/MakeHttpResponse.h"
#include "contract/messaging/LocalConnector.h"
#include "contract/streams/CachedValuePublisher.h"
#include "server/ServerLimits.h"
#include "tests/support/FailureText.h"
#include "tests/support/HttpMessages.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RawClient.h"

namespace connector::http {
namespace {

using test::exchange;
using test::FunctionProvider;
using test::makeRequest;
using test::RawClient;
using Reply = FunctionProvider::Reply;

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

    /// Asks, and leaves once the request has arrived.
    void askAndLeave(std::promise<void>& arrived, const std::string& target = "/slow?q=1")
    {
        RawClient client(server_->getPort());
        client.send(makeRequest("GET", target));
        arrived.get_future().wait();
    }

    test::WireResponse get() { return exchange(server_->getPort(), makeRequest("GET", "/")); }

    std::shared_ptr<LocalConnector> connector_ = std::make_shared<LocalConnector>();
    std::shared_ptr<PocoHttpServer> server_ =
        std::make_shared<PocoHttpServer>(connector_, test::findFreePort());
};

TEST_F(PocoHttpServerTest, StartsAndStartsAgainOnItsPortAndASecondOnTheNext)
{
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
    closed.send("GET / HTTP/1.0\r\n\r\nGET / HTTP/1.0\r\n\r\n");
    const auto answer = closed.readUntilClosed();
    EXPECT_EQ(answer.find("hello"), answer.size() - 5) << "one answer";

    server_->stop();
    server_->stop();
    EXPECT_FALSE(server_->isStarted());
    server_->start();
    EXPECT_EQ(server_->getPort(), port) << "closed connections must not take the port";
    PocoHttpServer second(connector_, port);
    second.setAddress("app");
    second.start();
    EXPECT_GT(second.getPort(), port);
    EXPECT_EQ(exchange(second.getPort(), makeRequest("GET", "/")).body, "hello");
}

class ThrowingProbe : public PocoHttpServer
{
public:
    using PocoHttpServer::PocoHttpServer;

protected:
    bool waitForRunning(unsigned short port) override
    {
        throw std::runtime_error(PocoHttpServer::waitForRunning(port) ? "no luck" : "no answer");
    }
};

TEST_F(PocoHttpServerTest, WhatAProbeThrowsIsTheLastErrorOfTheStart)
{
    auto told = false;
    // Again, since another process may have the last port.
    for (int attempt = 0; attempt < 5 && !told; ++attempt) {
        ThrowingProbe server(connector_, test::findFreePort());
        told = test::failureOf([&server] { server.start(); }).ends_with(".\nno luck");
    }
    EXPECT_TRUE(told);
}

TEST_F(PocoHttpServerTest, AnswersWhileItStarts)
{
    class ProbedByHead final : public PocoHttpServer
    {
    public:
        using PocoHttpServer::PocoHttpServer;
        std::string answers;
        bool waitForRunning(unsigned short port) override
        {
            RawClient client(port);
            client.send(makeRequest("HEAD", "/") + "GET / HTTP/1.0\r\n\r\n");
            answers = client.readUntilClosed();
            return true;
        }
    };
    ProbedByHead server(connector_, test::findFreePort());
    server.start();
    EXPECT_NE(server.answers.find("Length: 8\r\n\r\nHTTP/1.0 200 OK"), std::string::npos);
    EXPECT_TRUE(server.answers.ends_with("Length: 8\r\n\r\nstarting"));
}

TEST_F(PocoHttpServerTest, DeliversTheRequestAndItsBody)
{
    serve([](HttpRequest& request) {
        EXPECT_EQ(request.baseUrl, "http://h:1/");
        EXPECT_EQ(request.path, "/b c");
        EXPECT_EQ(request.query, "X=1&x=2");
        EXPECT_EQ(request.method, "put");
        EXPECT_EQ(request.headers.count("host"), 1U);
        EXPECT_EQ(request.cookies.find("s")->second, "t");
        EXPECT_EQ(request.parameters.count("x"), 2U);
        EXPECT_TRUE(request.local);
        return makeReadyFuture<std::unique_ptr<Message>>(
            std::make_unique<HttpResponse>(std::uint16_t{200}, request.body));
    });
    const auto answer = exchange(
        server_->getPort(), "PUT /a/../b%20c?X=1&x=%32 HTTP/1.1\r\nHOST: h:1\r\nCookie: s=t\r\n"
                            "Transfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n");
    EXPECT_EQ(answer.body, "abc");
}

TEST_F(PocoHttpServerTest, WritesRepliesSafely)
{
    const std::tuple<StringMultimap, StringMultimap, int, bool> cases[] = {
        {{{"X-A", "1"}}, {{"s", "t; Path=/"}}, 200, true},
        {{{"Transfer-Encoding", "chunked"}}, {}, 200, true},
        {{{"content-length", "9"}}, {}, 200, false}, // longer than the body
        {{{"Content-Length", "2"}}, {}, 200, true},
        {{{"connection", "close"}}, {}, 200, false},
        {{{"Content-Length", "-1"}}, {}, 500, true},
        {{{"Content-Length", "2147483648"}}, {}, 500, true},
        {{{"Content-Length", "4x"}}, {}, 500, true},
        {{{"X-A", "1\r\nX-B: 2"}}, {}, 500, true},
        {{{"X-A: 1\r\nX-B", "2"}}, {}, 500, true},
        {{}, {{"s", std::string("t\0", 2)}}, 500, true},
    };
    const auto* next = cases;
    serve([&next](HttpRequest&) {
        auto [headers, cookies, status, kept] = *next;
        return makeReadyFuture<std::unique_ptr<Message>>(std::make_unique<HttpResponse>(
            200, std::move(headers), std::move(cookies), makeBody(common::DataBuffer("body"))));
    });
    for (const auto& [headers, cookies, status, kept] : cases) {
        SCOPED_TRACE(testing::PrintToString(headers));
        const auto head = exchange(server_->getPort(), makeRequest("HEAD", "/"));
        EXPECT_EQ(head.status, status);
        EXPECT_EQ(head.headers.count("transfer-encoding"), 0U);
        EXPECT_EQ(head.headers.count("x-b"), 0U);
        EXPECT_EQ(head.headers.count("content-length"), 1U);

        RawClient client(server_->getPort());
        client.send(makeRequest("GET", "/"));
        if (kept) {
            EXPECT_EQ(client.readResponse().header("connection"), "Keep-Alive");
        } else {
            const auto answer = client.readUntilClosed();
            EXPECT_NE(answer.find("Connection: Close\r\n"), std::string::npos) << answer;
            EXPECT_TRUE(answer.ends_with("\r\n\r\nbody")) << answer;
        }
        ++next;
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
    std::list<RawClient> clients;
    for (int i = 0; i < 20; ++i) {
        auto& client = clients.emplace_back(server_->getPort());
        client.send(makeRequest("GET", "/"));
        client.readResponse();
        client.send(i % 2 == 0 ? "" : "GET / HT");
    }
    const RawClient silent(server_->getPort());
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
        server_->stop();
        return makeReadyHttpResponse(200, "");
    });
    EXPECT_EQ(get().body, "Error while processing HTTP request. "
                          "A server can not be stopped from one of its own requests.");
    EXPECT_TRUE(server_->isRunning());
}

TEST_F(PocoHttpServerTest, EndsAnAnswerWhoseClientHasGone)
{
    std::promise<void> entered;
    std::promise<void> cancelled;
    std::promise<void> left;
    using Silent =
        reactive_streams::CachedValuePublisher<common::DataBuffer, std::function<void()>>;
    const auto body = std::make_shared<Silent>([&cancelled] { cancelled.set_value(); });
    serve([&](HttpRequest& request) {
        entered.set_value();
        if (request.path == "/slow") {
            return makeReadyFuture<std::unique_ptr<Message>>(
                std::make_unique<HttpResponse>(std::uint16_t{200}, body));
        }
        left.get_future().wait();
        return makeReadyHttpResponse(201, std::string(std::size_t{32} << 20U, 'x'));
    });
    const test::ScopedLogCapture log;
    askAndLeave(entered);
    cancelled.get_future().wait();
    entered = {};
    askAndLeave(entered, "/large");
    left.set_value();
    while (!log.contains("/large? [201]") && !log.contains("Error in HTTP request handling")) {
        std::this_thread::yield();
    }
    server_->stop();
    EXPECT_TRUE(log.contains("Socket error: get http://"));
    EXPECT_TRUE(log.contains("/slow?q=1 [200]"));
    EXPECT_FALSE(log.contains("Error in HTTP request handling"));
}

TEST_F(PocoHttpServerTest, FailuresOfThePipelineAreAnswered)
{
    serve([](HttpRequest& request) -> Reply {
        if (request.path == "/throw") {
            throw std::runtime_error("boom");
        }
        if (request.path == "/excess") {
            throw common::MemoryBudgetExceeded();
        }
        if (request.path == "/absent") {
            return makeFailedFuture<std::unique_ptr<Message>>(HttpError(404, "No such user."));
        }
        if (request.path == "/unknown") {
            throw 42;
        }
        if (request.path == "/dropped") {
            return Promise<std::unique_ptr<Message>>().getFuture();
        }
        return makeReadyFuture(std::make_unique<Message>());
    });
    RawClient client(server_->getPort());
    const std::tuple<const char*, int, const char*> cases[] = {
        {"/throw", 500, "Error while processing HTTP request. boom"},
        {"/excess", 503, "Too much memory is held by bodies."},
        {"/absent", 404, "No such user."},
        {"/unknown", 500, "Unknown error while processing HTTP request."},
        {"/dropped", 500,
         "Error while processing HTTP request. Promise destroyed before it provided a value."}};
    for (const auto& [path, status, body] : cases) {
        client.send(makeRequest("GET", path));
        const auto answer = client.readResponse();
        EXPECT_EQ(answer.status, status);
        EXPECT_EQ(answer.body, body);
    }
    client.send(makeRequest("GET", "/other"));
    EXPECT_EQ(client.readUntilClosed(), "") << "a reply of another type is not answered";
}

} // namespace
} // namespace connector::http
