#include "client/PocoHttpClientServiceProvider.h"

#include <gtest/gtest.h>
#include <latch>
#include <thread>

#include "contract/http/MakeHttpResponse.h"
#include "contract/streams/OneShotPublisher.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RawClient.h"
#include "tests/support/RecordingSubscriber.h"
#include "tests/support/ScriptedUpstream.h"

namespace connector::http {
namespace {

using test::ScriptedUpstream;
using Then = test::ScriptedUpstream::Then;

class PocoHttpClientServiceProviderTest : public testing::Test
{
protected:
    static std::string urlOf(std::uint16_t port)
    {
        return "http://127.0.0.1:" + std::to_string(port) + "/p?";
    }

    std::unique_ptr<Message> ask(std::uint16_t port, const std::string& method = "get",
                                 const std::string& body = "")
    {
        auto request = std::make_unique<HttpClientRequest>(
            urlOf(port), method, StringMultimap{{"x", "y"}}, StringMultimap(),
            makeBody(common::DataBuffer(body)));
        request->stopToken = stopSource_.get_token();
        return client_.handle(std::move(request), Address(), nullptr).get();
    }

    std::string failureOf(std::uint16_t port)
    {
        try {
            ask(port);
            return "";
        } catch (const std::exception& failure) {
            return failure.what();
        }
    }

    static std::string bodyOf(HttpClientResponse& response)
    {
        const auto subscriber = std::make_shared<test::RecordingSubscriber<common::DataBuffer>>();
        response.body->subscribe(subscriber);
        subscriber->subscription->request(1);
        return std::string(subscriber->items.at(0).view());
    }

    std::stop_source stopSource_;
    std::vector<long long> waits_;
    std::function<bool()> onWait_ = [] { return true; };
    PocoHttpClientServiceProvider client_{
        [this](std::chrono::milliseconds duration, const std::stop_token&) {
            waits_.push_back(duration.count());
            return onWait_();
        }};
};

TEST_F(PocoHttpClientServiceProviderTest, AnswersWithWhatTheUpstreamSent)
{
    ScriptedUpstream upstream([](const std::string&, int) {
        return ScriptedUpstream::Answer{"HTTP/1.1 201 Created\r\nSet-Cookie: a=1; Path=/\r\n"
                                        "Connection: close, X-Hop\r\nX-Hop: 1\r\nX-End: 2\r\n"
                                        "Transfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n"};
    });
    const auto reply = ask(upstream.port(), "post", std::string(100'000, 'b'));
    auto& response = dynamic_cast<HttpClientResponse&>(*reply);
    EXPECT_EQ(response.status, 201);
    EXPECT_EQ(response.headers, (StringMultimap{{"set-cookie", "a=1; Path=/"}, {"x-end", "2"}}));
    EXPECT_EQ(response.cookies, (StringMultimap{{"a", "1"}}));
    EXPECT_EQ(bodyOf(response), "abc");
    EXPECT_EQ(upstream.requests().at(0),
              "POST /p? HTTP/1.1\r\nHost: 127.0.0.1\r\nx: y\r\nConnection: close\r\n"
              "Content-Length: 100000\r\n\r\n" +
                  std::string(100'000, 'b'));
    EXPECT_TRUE(waits_.empty());
}

TEST_F(PocoHttpClientServiceProviderTest, TriesFiveTimesWithGrowingWaits)
{
    EXPECT_EQ(failureOf(test::findFreePort()).find("Retry limit reached: Connection refused"), 0U);
    EXPECT_EQ(waits_, (std::vector<long long>{0, 1000, 4000, 9000, 16000}));
}

TEST_F(PocoHttpClientServiceProviderTest, SendsTheSameBodyAgainUntilAnAnswerComes)
{
    const test::ScopedLogCapture log;
    ScriptedUpstream upstream([](const std::string&, int index) -> ScriptedUpstream::Answer {
        switch (index) {
        case 0:
            return {"", Then::Reset};
        case 1:
            return {"garbage\r\n\r\n"};
        case 2:
            return {"HTTP/1.1 200 OK\r\nX: "};
        default:
            return {"HTTP/1.1 200 OK\r\n\r\n"};
        }
    });
    ask(upstream.port(), "put", "again");
    EXPECT_EQ(waits_, (std::vector<long long>{0, 1000, 4000}));
    for (const auto& request : upstream.requests()) {
        EXPECT_TRUE(request.ends_with("\r\n\r\nagain")) << request;
    }
    EXPECT_EQ(upstream.requests().size(), 4U);
    EXPECT_TRUE(log.contains("Attempt 3 of 5 failed: PUT http://127.0.0.1:"));
}

TEST_F(PocoHttpClientServiceProviderTest, ABodyThatBreaksOffIsAFailure)
{
    ScriptedUpstream upstream([](const std::string&, int) {
        return ScriptedUpstream::Answer{"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nshort"};
    });
    EXPECT_EQ(failureOf(upstream.port()),
              "The upstream closed the connection before the end of its answer.");
    EXPECT_EQ(upstream.requests().size(), 1U);
}

TEST_F(PocoHttpClientServiceProviderTest, AStopEndsAStalledUpstream)
{
    for (const auto* begun : {"", "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nshort"}) {
        SCOPED_TRACE(begun);
        stopSource_ = std::stop_source();
        ScriptedUpstream upstream([&](const std::string&, int) {
            stopSource_.request_stop();
            return ScriptedUpstream::Answer{begun, Then::Hold};
        });
        EXPECT_EQ(failureOf(upstream.port()), "The request was abandoned.");
        EXPECT_EQ(upstream.requests().size(), 1U);
    }
}

TEST_F(PocoHttpClientServiceProviderTest, AStopEndsTheWaits)
{
    onWait_ = [] { return false; };
    EXPECT_EQ(failureOf(test::findFreePort()), "The request was abandoned.");
    EXPECT_EQ(waits_.size(), 1U);

    PocoHttpClientServiceProvider onTheClock;
    auto request = std::make_unique<HttpClientRequest>(urlOf(test::findFreePort()), "get",
                                                       StringMultimap(), StringMultimap(), nullptr);
    request->stopToken = stopSource_.get_token();
    const test::ScopedLogCapture log;
    std::jthread stopper([&] {
        while (!log.contains("Attempt 3")) { // four seconds of waiting would follow
            std::this_thread::yield();
        }
        stopSource_.request_stop();
    });
    EXPECT_THROW(onTheClock.handle(std::move(request), Address(), nullptr), std::runtime_error);
    EXPECT_FALSE(log.contains("Attempt 4"));
}

TEST_F(PocoHttpClientServiceProviderTest, AMalformedUrlFailsAtOnceAndIsLogged)
{
    const test::ScopedLogCapture log;
    auto request = std::make_unique<HttpClientRequest>("/no/host", "get", StringMultimap(),
                                                       StringMultimap(), nullptr);
    EXPECT_THROW(client_.handle(std::move(request), Address(), nullptr), std::invalid_argument);
    EXPECT_EQ(log.texts("connector::http::client"),
              std::vector<std::string>{"Error creating client: The URL is not absolute."});
    EXPECT_TRUE(waits_.empty());
}

} // namespace
} // namespace connector::http
