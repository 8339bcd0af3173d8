#include "server/websocket/PocoWebSocket.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <string>

#include "contract/messaging/LocalConnector.h"
#include "contract/streams/TransformProcessor.h"
#include "server/PocoHttpServer.h"
#include "tests/support/FailureText.h"
#include "tests/support/HttpMessages.h"
#include "tests/support/LogCapture.h"
#include "tests/support/WebSocketClient.h"

namespace connector::http {
namespace {

using common::DataBuffer;
using test::maskedFrame;
using test::RawClient;
using test::WebSocketClient;

WebSocketFrame frame(unsigned flags, const std::string& payload)
{
    return {DataBuffer(payload), static_cast<std::uint8_t>(flags)};
}

/// A provider's two streams in the hands of a test.
class FakeProvider final : public reactive_streams::PublisherAPI<WebSocketFrame>,
                           public reactive_streams::SubscriberAPI<WebSocketFrame>,
                           public reactive_streams::Subscription,
                           public std::enable_shared_from_this<FakeProvider>
{
public:
    // The outgoing stream.
    void subscribe(std::shared_ptr<SubscriberAPI<WebSocketFrame>> subscriber) override
    {
        bridge = subscriber;
        subscriber->onSubscribe(shared_from_this());
    }
    void request(std::uint64_t n) override
    {
        wanted_ += n;
        if (requested) {
            requested();
        }
    }
    void cancel() override { note("cancelled "); }

    // The incoming stream.
    void onSubscribe(std::shared_ptr<Subscription> subscription) override
    {
        incoming = std::move(subscription);
        incoming->request(initialDemand);
        note("open ");
    }
    void onNext(WebSocketFrame&& item) override
    {
        note(std::string(item.payload.view()) + " ");
        if (item.payload.view() == "throw") {
            throw std::runtime_error("thrown");
        }
    }
    void onError(std::exception_ptr failure) override
    {
        try {
            note("failed(" + test::failureOf([&] { std::rethrow_exception(failure); }) + ") ");
        } catch (int) {
            note("failed(int) ");
        }
    }
    void onComplete() override { note("completed "); }

    /// Publishes while the bridge asks for more, @p limit frames at most.
    int publish(std::size_t size, int limit)
    {
        int count = 0;
        for (; count < limit && published_ < wanted_; ++count, ++published_) {
            bridge->onNext(frame(0x82, std::string(size, 'x')));
        }
        return count;
    }

    /// Blocks until the calls so far end with @p text; returns all of them.
    std::string await(const std::string& text)
    {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, RawClient::kDeadline, [&] { return calls_.ends_with(text); });
        return calls_;
    }

    std::shared_ptr<SubscriberAPI<WebSocketFrame>> bridge;
    std::shared_ptr<Subscription> incoming;
    std::uint64_t initialDemand = reactive_streams::kUnboundedDemand;
    std::function<void()> requested; ///< Called within `request`.

private:
    void note(const std::string& call)
    {
        const std::lock_guard lock(mutex_);
        calls_ += call;
        changed_.notify_all();
    }

    std::atomic<std::uint64_t> wanted_ = 0;
    std::uint64_t published_ = 0;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::string calls_;
};

/// A running server that answers every request with a WebSocket reply.
class PocoWebSocketTest : public ::testing::Test
{
protected:
    PocoWebSocketTest()
    {
        connector_->registerProvider(
            "app", std::make_shared<test::FunctionProvider>([this](const HttpRequest& request) {
                using Echo = reactive_streams::TransformProcessor<WebSocketFrame, WebSocketFrame>;
                const auto echo = std::make_shared<Echo>([](auto&& item) { return item; });
                const std::lock_guard lock(mutex_);
                return makeReadyFuture<std::unique_ptr<Message>>(
                    request.path == "/echo" ? std::make_unique<WebSocket>(echo, echo)
                                            : std::make_unique<WebSocket>(provider_, provider_));
            }));
        server_->setAddress("app");
        server_->start();
    }

    /// The provider of the connections that begin from here on.
    std::shared_ptr<FakeProvider> provide(std::uint64_t demand = reactive_streams::kUnboundedDemand)
    {
        const std::lock_guard lock(mutex_);
        provider_ = std::make_shared<FakeProvider>();
        provider_->initialDemand = demand;
        return provider_;
    }

    std::uint16_t port() { return server_->getPort(); }

    std::mutex mutex_; ///< Guards provider_.
    std::shared_ptr<FakeProvider> provider_;
    const std::shared_ptr<LocalConnector> connector_ = std::make_shared<LocalConnector>();
    const std::shared_ptr<PocoHttpServer> server_ =
        std::make_shared<PocoHttpServer>(connector_, test::findFreePort());
};

const std::string upgrade = "Connection: Upgrade\r\nUpgrade: websocket\r\n";
const std::string version = "Sec-WebSocket-Version: 13\r\n";
const std::string key = "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n";

TEST_F(PocoWebSocketTest, RefusesWhatIsNoUpgrade)
{
    const std::pair<std::string, int> cases[] = {
        {"", 426},
        {"Upgrade: websocket\r\n" + version + key, 426},
        {upgrade + "Sec-WebSocket-Version: 8\r\n" + key, 426},
        {upgrade + key, 426},
        {upgrade + version, 400},
        {upgrade + version + "Sec-WebSocket-Key: short\r\n", 400}};
    RawClient client(port());
    for (const auto& [headers, status] : cases) {
        client.send(test::makeRequest("GET", "/echo", headers));
        const auto answer = client.readResponse();
        EXPECT_EQ(answer.status, status) << headers;
        EXPECT_EQ(answer.header("upgrade"), "websocket");
        EXPECT_EQ(answer.header("connection"), "Upgrade");
        EXPECT_EQ(answer.header("sec-websocket-version"), "13");
    }
}

TEST_F(PocoWebSocketTest, AnswersAnUpgradeWithALargeHead)
{
    const auto cookie = "Cookie: a=" + std::string(9000, 'x') + "\r\n";
    RawClient client(port());
    client.send(test::makeRequest("GET", "/echo", upgrade + version + key + cookie));
    EXPECT_EQ(client.readResponse(true).header("sec-websocket-accept"),
              "s3pPLMBiTxaQ9kYGzzhZRbK+xOo=");
}

TEST_F(PocoWebSocketTest, EchoesFramesHoweverTheyArrive)
{
    WebSocketClient client(port(), "/echo", maskedFrame(0x81, "early") + maskedFrame(0x82, "bird"));
    EXPECT_EQ(client.readFrame(), "81:early");
    EXPECT_EQ(client.readFrame(), "82:bird");
    for (const char byte : maskedFrame(0x81, "dribbled")) {
        client.send({&byte, 1});
    }
    EXPECT_EQ(client.readFrame(), "81:dribbled");
    client.sendFrame(0x88, "\x0f\xa0"); // 4000
    EXPECT_EQ(client.readClose(), 4000U);
}

TEST_F(PocoWebSocketTest, ClosesWithTheRightCode)
{
    using namespace std::string_literals;
    const std::tuple<std::string, unsigned, std::string> cases[] = {
        {maskedFrame(0x88, ""), 0, "completed"},
        {maskedFrame(0x88, "\x03\xe8 bye") + maskedFrame(0x81, "late"), 1000, "completed"},
        {maskedFrame(0x88, "\x03\xed"), 1002, "failed(The close code 1005 is invalid.)"},
        {maskedFrame(0x83, ""), 1002, "failed(The opcode is reserved.)"},
        {maskedFrame(0x81, "\xff and more"), 1007, "failed(The text is not UTF-8.)"},
        {"\x82\xff\0\0\0\0\0\x7a\x12\x01"s, 1009,
         "failed(The frame is longer than 8000000 bytes.)"},
    };
    for (const auto& [bytes, code, calls] : cases) {
        const test::ScopedLogCapture log;
        const auto provider = provide();
        WebSocketClient client(port());
        client.send(maskedFrame(0x81, "ok") + bytes);
        EXPECT_EQ(client.readClose(), code);
        EXPECT_EQ(provider->await("cancelled "), "open ok " + calls + " cancelled ");
        EXPECT_EQ(log.contains("Error receiving data: "), calls.starts_with("failed"));
    }
}

TEST_F(PocoWebSocketTest, EndsWithTheProvidersStream)
{
    const auto broken = std::make_exception_ptr(std::range_error("broken"));
    for (const auto& [failing, failure] :
         {std::pair(false, broken), {true, broken}, {true, nullptr}}) {
        const auto provider = provide();
        WebSocketClient client(port());
        provider->await("open ");
        provider->publish(3, 1);
        failing ? provider->bridge->onError(failure) : provider->bridge->onComplete();
        provider->bridge->onNext(frame(0x82, "late"));
        EXPECT_EQ(client.readFrame(), "82:xxx");
        EXPECT_EQ(client.readClose(), failing ? 1011U : 1000U);
        EXPECT_EQ(provider->await("completed "), "open completed ");
    }
    const auto provider = provide();
    WebSocketClient client(port());
    client.sendFrame(0x81, "throw");
    EXPECT_EQ(client.readClose(), 1011U);
    EXPECT_EQ(provider->await("cancelled "), "open throw failed(thrown) cancelled ");
}

TEST_F(PocoWebSocketTest, EndsWithWhatTheProviderThrowsWhenAsked)
{
    for (const auto& [frames, standard] : {std::pair(0, true), {0, false}, {1, true}, {1, false}}) {
        const test::ScopedLogCapture log;
        const auto provider = provide();
        provider->requested = [standard = standard, left = frames]() mutable {
            if (left-- == 0) {
                standard ? throw std::runtime_error("thrown") : throw 1;
            }
        };
        WebSocketClient client(port());
        provider->await(frames > 0 ? "open " : "cancelled ");
        EXPECT_EQ(provider->publish(1, frames), frames);
        EXPECT_EQ(client.read(3U * frames), std::string("\x82\x01x", 3U * frames));
        EXPECT_EQ(client.readClose(), 1011U);
        EXPECT_EQ(provider->await("cancelled "),
                  standard ? "open failed(thrown) cancelled " : "open failed(int) cancelled ");
        EXPECT_TRUE(log.contains(standard ? "WebSocket error: thrown" : "Unknown WebSocket error"));
    }
}

TEST_F(PocoWebSocketTest, SendsWhatIsPublishedWithinARequest)
{
    const auto provider = provide();
    provider->requested = [&bridge = provider->bridge] { bridge->onNext(frame(0x82, "x")); };
    WebSocketClient client(port());
    for (int i = 0; i < 50'000; ++i) {
        ASSERT_EQ(client.readFrame(), "82:x");
    }
    client.sendFrame(0x88, "\x03\xe8");
    while (client.readFrame() != "88:\x03\xe8") { // although the stream has no end
    }
    EXPECT_EQ(provider->await("cancelled "), "open completed cancelled ");
}

TEST_F(PocoWebSocketTest, TakesOneSubscriberAndLetsItLeave)
{
    const auto provider = provide();
    WebSocketClient client(port());
    provider->await("open ");
    auto& bridge = dynamic_cast<PocoWebSocket&>(*provider->bridge);
    EXPECT_EQ(test::failureOf([&] { bridge.subscribe(nullptr); }),
              "Only one subscriber is allowed");
    provider->incoming->cancel();
    client.sendFrame(0x81, "unwanted");
    client.sendFrame(0x89, "");
    EXPECT_EQ(client.readFrame(), "8a:");
    provider->publish(1, 1);
    EXPECT_EQ(client.readFrame(), "82:x");
    client.sendFrame(0x88, "");
    EXPECT_EQ(client.readClose(), 0U);
    EXPECT_EQ(provider->await("cancelled "), "open cancelled ");
}

TEST_F(PocoWebSocketTest, SendsASubscriberWhatItRequests)
{
    const auto provider = provide(1);
    WebSocketClient client(port());
    client.send(maskedFrame(0x81, "a") + maskedFrame(0x81, "b") + maskedFrame(0x81, "c") +
                maskedFrame(0x89, "1"));
    EXPECT_EQ(client.readFrame(), "8a:1") << "a ping overtakes the frames that wait";
    EXPECT_EQ(provider->await("a "), "open a ");
    client.send(maskedFrame(0x82, std::string(60'000, 'x')) + maskedFrame(0x89, "2"));
    EXPECT_EQ(client.readFrame(), "8a:2") << "one that comes later, too";
    provider->incoming->request(2);
    EXPECT_EQ(provider->await("c "), "open a b c ");
    client.sendFrame(0x88, "\x03\xe8");
    EXPECT_EQ(client.readClose(), 1000U);
    EXPECT_EQ(provider->await("cancelled "), "open a b c completed cancelled ");
}

TEST_F(PocoWebSocketTest, AsksTheProviderForWhatTheClientTakes)
{
    constexpr int kMany = 100;
    const auto provider = provide();
    WebSocketClient client(port());
    provider->await("open ");
    const auto sent = provider->publish(1'000'000, kMany);
    EXPECT_GE(sent, 8);
    ASSERT_LT(sent, kMany) << "nobody reads, yet the provider is asked for ever more";
    client.sendFrame(0x81, "still here");
    EXPECT_EQ(provider->await("still here "), "open still here ");

    for (int i = 0; i < sent; ++i) {
        ASSERT_TRUE(client.readFrame() == "82:" + std::string(1'000'000, 'x'));
    }
    client.sendFrame(0x81, "read");
    provider->await("read ");
    EXPECT_EQ(provider->publish(1, 1), 1) << "asked again once the client reads";
    EXPECT_EQ(client.readFrame(), "82:x");
}

TEST_F(PocoWebSocketTest, StopsAlsoWithClientsThatDoNotRead)
{
    WebSocketClient echo(port(), "/echo");
    const auto provider = provide();
    WebSocketClient stalled(port());
    provider->await("open ");
    provider->publish(1'000'000, 100);
    const auto idle = provide(0);
    WebSocketClient undelivered(port());
    undelivered.sendFrame(0x81, "nobody wants this");
    idle->await("open ");

    server_->stop();
    EXPECT_EQ(echo.readClose(), 1001U);
    EXPECT_EQ(undelivered.readClose(), 1001U);
    EXPECT_EQ(provider->await("cancelled "), "open completed cancelled ");
    EXPECT_EQ(idle->await("cancelled "), "open completed cancelled ");
    EXPECT_EQ(server_->getActiveRequests(), 0U);
}

TEST_F(PocoWebSocketTest, TakesDemandThatIsGivenWhileItAsksForAFrame)
{
    const auto provider = provide(1);
    provider->requested = [provider = provider.get(), calls = 0]() mutable {
        if (++calls < 70) { // more than follow one another before the socket is looked at
            provider->bridge->onNext(frame(0x81, "x"));
        } else if (calls == 70) {
            provider->incoming->request(1);
        }
    };
    WebSocketClient client(server_->getPort());
    client.sendFrame(0x81, "A");
    client.sendFrame(0x81, "B");
    EXPECT_EQ(provider->await("B "), "open A B ");
}

TEST_F(PocoWebSocketTest, LetsGoOfClientsThatHangUp)
{
    const auto hangUp = [this](const std::string& last, const auto& how) {
        const auto provider = provide();
        WebSocketClient client(port());
        client.send(last);
        provider->await("open ");
        how(client);
        return provider->await("cancelled ");
    };
    const auto finish = [](RawClient& client) { client.finishSending(); };
    EXPECT_EQ(hangUp("", finish), "open completed cancelled ");
    EXPECT_EQ(hangUp(maskedFrame(0x81, "Hello").substr(0, 7), finish),
              "open failed(The connection ended within a frame.) cancelled ");
    EXPECT_EQ(hangUp("", [](RawClient& client) { client.reset(); }),
              "open failed(Connection reset by peer) cancelled ");
}

} // namespace
} // namespace connector::http
