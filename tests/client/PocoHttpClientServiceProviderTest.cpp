#include "client/PocoHttpClientServiceProvider.h"

#include <gmock/gmock.h>
#include <thread>

#include "contract/http/MakeHttpResponse.h"
#include "tests/support/FailureText.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RawClient.h"
#include "tests/support/RecordingSubscriber.h"
#include "tests/support/ScriptedUpstream.h"

namespace connector::http {
namespace {

using test::failureOf;
using test::ScriptedUpstream;
using testing::ElementsAre;
using testing::EndsWith;
using testing::StartsWith;
using Answer = ScriptedUpstream::Answer;
using Then = ScriptedUpstream::Then;

class PocoHttpClientServiceProviderTest : public testing::Test
{
protected:
    std::unique_ptr<Message> ask(std::uint16_t port, const std::string& method = "get",
                                 const std::string& body = "")
    {
        return ask("http://127.0.0.1:" + std::to_string(port) + "/p?", client_, method, body);
    }

    std::unique_ptr<Message> ask(const std::string& url, PocoHttpClientServiceProvider& client,
                                 const std::string& method = "get", const std::string& body = "")
    {
        auto request = std::make_unique<HttpClientRequest>(url, method, StringMultimap{{"x", "y"}},
                                                           StringMultimap(),
                                                           makeBody(common::DataBuffer(body)));
        request->stopToken = stopSource_.get_token();
        return client.handle(std::move(request), Address(), nullptr).get();
    }

    /// Notes the request and gives the next of the answers.
    Answer answer(const std::string& request)
    {
        requests_.push_back(request);
        return answers_.at(requests_.size() - 1);
    }

    std::stop_source stopSource_;
    std::vector<long long> waits_;
    PocoHttpClientServiceProvider client_{
        [this](std::chrono::milliseconds duration, const std::stop_token& stopToken) {
            waits_.push_back(duration.count());
            return !stopToken.stop_requested();
        }};
    std::vector<std::string> requests_;
    std::vector<Answer> answers_;
    ScriptedUpstream upstream_{[this](const std::string& request) { return answer(request); }};
};

TEST_F(PocoHttpClientServiceProviderTest, AnswersWithWhatTheUpstreamSent)
{
    answers_ = {{"HTTP/1.1 201 Created\r\nSet-Cookie: a=1; Path=/\r\nConnection: close, X-Hop\r\n"
                 "X-Hop: 1\r\nX-End: 2\r\nTransfer-Encoding: chunked\r\n\r\n"
                 "3\r\nabc\r\n0\r\n\r\n"}};
    const std::string body(100'000, 'b');
    const auto reply = ask(upstream_.port(), "post", body);
    auto& response = dynamic_cast<HttpClientResponse&>(*reply);
    EXPECT_EQ(response.status, 201);
    EXPECT_EQ(response.headers, (StringMultimap{{"set-cookie", "a=1; Path=/"}, {"x-end", "2"}}));
    EXPECT_EQ(response.cookies, (StringMultimap{{"a", "1"}}));
    const auto subscriber = std::make_shared<test::RecordingSubscriber<common::DataBuffer>>();
    response.body->subscribe(subscriber);
    subscriber->subscription->request(1);
    EXPECT_EQ(subscriber->items.at(0).view(), "abc");
    EXPECT_THAT(requests_,
                ElementsAre("POST /p? HTTP/1.1\r\nHost: 127.0.0.1\r\nx: y\r\nConnection: close\r\n"
                            "Content-Length: 100000\r\n\r\n" +
                            body));
    EXPECT_TRUE(waits_.empty());
}

TEST_F(PocoHttpClientServiceProviderTest, TriesFiveTimesWithGrowingWaits)
{
    EXPECT_THAT(failureOf([&] { return ask(test::findFreePort()); }),
                StartsWith("Retry limit reached: Connection refused"));
    EXPECT_THAT(waits_, ElementsAre(0, 1000, 4000, 9000, 16000));
}

TEST_F(PocoHttpClientServiceProviderTest, SendsTheSameBodyAgainUntilAnAnswerComes)
{
    const test::ScopedLogCapture log;
    answers_ = {{"", Then::Reset},
                {"garbage\r\n\r\n"},
                {"HTTP/1.1 200 OK\r\nX: "},
                {"HTTP/1.1 200 OK\r\n\r\n"}};
    ask(upstream_.port(), "put", "again");
    EXPECT_THAT(waits_, ElementsAre(0, 1000, 4000));
    EXPECT_THAT(requests_,
                testing::AllOf(testing::SizeIs(4), testing::Each(EndsWith("\r\n\r\nagain"))));
    EXPECT_TRUE(log.contains("Attempt 3 of 5 failed: PUT http://127.0.0.1:"));
}

TEST_F(PocoHttpClientServiceProviderTest, AnAnswerMayComeBeforeTheRequestWasRead)
{
    const std::string big(16'000'000, 'b'); // more than the sockets of either side hold
    const std::pair<std::string, Then> answers[] = {
        {"HTTP/1.1 413 Content Too Large\r\nContent-Length: 2\r\nConnection: close\r\n\r\nno",
         Then::Close},
        {"HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(big.size()) + "\r\n\r\n" + big,
         Then::Hold}};
    for (const auto& [bytes, then] : answers) {
        const ScriptedUpstream hasty(
            [&](const std::string&) {
                return Answer{bytes, then};
            },
            ScriptedUpstream::Reads::Head);
        const auto reply = ask(hasty.port(), "post", big);
        const auto& response = dynamic_cast<HttpClientResponse&>(*reply);
        EXPECT_EQ(std::to_string(response.status), bytes.substr(9, 3));
    }
    EXPECT_TRUE(waits_.empty());
}

TEST_F(PocoHttpClientServiceProviderTest, RepeatedLengthsBecomeOneAndA204HasNone)
{
    const std::string lengths = "Content-Length: 0\r\nContent-Length: 0\r\n\r\n";
    answers_ = {{"HTTP/1.1 200 OK\r\n" + lengths}, {"HTTP/1.1 204 No Content\r\n" + lengths}};
    const StringMultimap expected[] = {{{"content-length", "0"}}, {}};
    for (const auto& headers : expected) {
        const auto reply = ask(upstream_.port());
        EXPECT_EQ(dynamic_cast<HttpClientResponse&>(*reply).headers, headers);
    }
}

TEST_F(PocoHttpClientServiceProviderTest, AStopEndsAStalledUpstream)
{
    for (const auto* begun : {"", "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nshort"}) {
        stopSource_ = std::stop_source();
        const ScriptedUpstream stalling([&](const std::string&) {
            stopSource_.request_stop();
            return Answer{begun, Then::Hold};
        });
        EXPECT_EQ(failureOf([&] { return ask(stalling.port()); }), "The request was abandoned.");
    }
    EXPECT_TRUE(waits_.empty());
}

TEST_F(PocoHttpClientServiceProviderTest, AnAnswerThatDripsIsCutByTheDeadlineOfAnAttempt)
{
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"https", std::string("\x16\x03\x03\x3F\x00", 5), "Retry limit reached: Timeout"},
        {"http", "HTTP/1.1 200 OK\r\n", "Retry limit reached: Timeout: answer timed out"},
        {"http", "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n", "Timeout"},
    };
    for (const auto& [scheme, begun, text] : cases) {
        const auto drip = [&](const std::string&) { return Answer{begun, Then::Drip}; };
        const ScriptedUpstream dripping(drip, ScriptedUpstream::Reads::Nothing);
        PocoHttpClientServiceProvider client([](auto, const auto&) { return true; },
                                             {.answerTimeout = std::chrono::milliseconds(50)});
        const auto url = scheme + "://127.0.0.1:" + std::to_string(dripping.port());
        EXPECT_THAT(failureOf([&] { return ask(url, client); }), StartsWith(text)) << url;
    }
}

TEST_F(PocoHttpClientServiceProviderTest, AStopEndsTheWaitOnTheClock)
{
    PocoHttpClientServiceProvider onTheClock;
    const auto url = "http://127.0.0.1:" + std::to_string(test::findFreePort());
    const test::ScopedLogCapture log;
    std::jthread stopper([&] {
        while (!log.contains("Attempt 3")) { // four seconds of waiting would follow
            std::this_thread::yield();
        }
        stopSource_.request_stop();
    });
    EXPECT_EQ(failureOf([&] { return ask(url, onTheClock); }), "The request was abandoned.");
    EXPECT_FALSE(log.contains("Attempt 4"));
}

TEST_F(PocoHttpClientServiceProviderTest, ABrokenBodyAndAMalformedUrlFailAtOnce)
{
    answers_ = {{"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nshort"}};
    EXPECT_EQ(failureOf([&] { return ask(upstream_.port()); }),
              "The upstream closed the connection before the end of its answer.");
    const test::ScopedLogCapture log;
    EXPECT_NE(failureOf([&] { return ask("/no/host", client_); }), "");
    EXPECT_TRUE(log.contains("Error creating client: The URL is not absolute."));
    EXPECT_TRUE(waits_.empty());
}

} // namespace
} // namespace connector::http
