#include <algorithm>
#include <cerrno>
#include <gtest/gtest.h>
#include <string>

#include "server/websocket/FrameReceiver.h"
#include "server/websocket/FrameSender.h"
#include "server/websocket/WebSocketLimits.h"
#include "tests/support/FailingMemory.h"
#include "tests/support/FailureText.h"

namespace connector::http::websocket {
namespace {

using common::DataBuffer;
using namespace std::string_literals;

/// Takes as many bytes as it is allowed to.
class FakeTransport final : public net::Transport
{
public:
    FakeTransport() : Transport(-1) {}

    net::IoStatus handshake() override { return net::IoStatus::Done; }
    net::IoResult receive(std::span<char>) override { throw std::bad_alloc(); }
    bool mayHoldInput(const net::IoResult&, std::size_t) override { return false; }
    net::IoResult send(std::span<const iovec> parts, bool /*more*/) override
    {
        if (broken) {
            return {net::IoStatus::Failed, 0, EPIPE};
        }
        std::size_t taken = 0;
        for (const auto& part : parts) {
            const auto size = std::min(part.iov_len, allowed - taken);
            written.append(static_cast<const char*>(part.iov_base), size);
            taken += size;
        }
        allowed -= taken;
        return {net::IoStatus::Done, taken};
    }
    void endOutput() noexcept override {}
    bool isSecure() const noexcept override { return false; }

    std::size_t allowed = std::size_t{1} << 30U;
    bool broken = false;
    std::string written;
};

struct WebSocketSenderTest : ::testing::Test
{
    static WebSocketFrame frame(std::size_t size, unsigned flags = 0x82, char content = 'x')
    {
        return {DataBuffer(std::string(size, content)), static_cast<std::uint8_t>(flags)};
    }

    FakeTransport transport;
    FrameSender sender{transport};
};

/// An unmasked frame, for lengths of two and eight bytes.
std::string sent(unsigned flags, std::size_t size, char content = 'x')
{
    return std::string(FrameHead(static_cast<std::uint8_t>(flags), size).view()) +
           std::string(size, content);
}

TEST_F(WebSocketSenderTest, CutsLongFramesAndKeepsTheFinalBit)
{
    const std::tuple<unsigned, std::size_t, std::string> cases[] = {
        {0x81, 0, "\x81\0"s},
        {0x81, 2'000'000, sent(0x81, 2'000'000)},
        {0x82, 2'000'001, sent(0x02, 2'000'000) + sent(0x80, 1)},
        {0x81, 5'000'000, sent(0x01, 2'000'000) + sent(0x00, 2'000'000) + sent(0x80, 1'000'000)},
        {0x01, 2'000'001, sent(0x01, 2'000'000) + sent(0x00, 1)},
        {0x80, 4'000'000, sent(0x00, 2'000'000) + sent(0x80, 2'000'000)},
    };
    for (const auto& [flags, size, written] : cases) {
        sender.queue(frame(size, flags));
        while (sender.resume().more) { // it pauses after a few MB
        }
        EXPECT_EQ(transport.written.size(), written.size());
        EXPECT_TRUE(transport.written == written) << flags << " " << size;
        transport.written.clear();
    }
    EXPECT_TRUE(sender.isIdle());
}

TEST_F(WebSocketSenderTest, GoesOnWhereAStuckClientStopped)
{
    std::string expected;
    for (int i = 0; i < 300; ++i) {
        const auto content = static_cast<char>('a' + i % 26);
        sender.queue(frame(static_cast<std::size_t>(i), 0x82, content));
        expected += sent(0x82, static_cast<std::size_t>(i), content);
    }
    transport.allowed = 0;
    EXPECT_TRUE(sender.flush().stuck);
    while (!sender.isIdle()) {
        transport.allowed = 997;
        EXPECT_FALSE(sender.flush().stuck) << "a stuck sender waits for the socket";
        sender.resume();
    }
    EXPECT_FALSE(sender.isBlocked());
    EXPECT_EQ(transport.written, expected);
}

TEST_F(WebSocketSenderTest, LetsPongsOvertakeBetweenFrames)
{
    transport.allowed = 3;
    sender.queue(frame(5'000'000));
    sender.flush();
    sender.queuePong(DataBuffer("p"s));
    sender.queueClose(DataBuffer());
    sender.queue(frame(1)); // nothing comes after the close frame
    sender.queuePong(DataBuffer("q"s));
    transport.allowed = std::size_t{1} << 30U;
    while (sender.resume().more) {
    }
    EXPECT_TRUE(transport.written == sent(0x02, 2'000'000) + "\x8a\x01p"s + sent(0x00, 2'000'000) +
                                         sent(0x80, 1'000'000) + "\x88\0"s);
}

TEST_F(WebSocketSenderTest, BoundsWhatWaits)
{
    transport.allowed = 0;
    EXPECT_TRUE(sender.queue(frame(WebSocketLimits().sendQueue / 2)));
    std::size_t empty = 1;
    for (; sender.queue(frame(0)); ++empty) {
        ASSERT_LT(empty, 100'000U) << "frames without a payload are counted, too";
    }
    for (int i = 0; i < 10'000; ++i) {
        sender.queuePong(DataBuffer("pong " + std::to_string(i)));
    }
    EXPECT_FALSE(sender.flush().roomAgain);
    transport.allowed = std::size_t{1} << 30U;
    EXPECT_TRUE(sender.resume().roomAgain);
    while (sender.resume().more) {
    }
    EXPECT_LT(transport.written.size(), WebSocketLimits().sendQueue / 2 + 2 * empty + 5000);
    EXPECT_NE(transport.written.find("pong 9999"), std::string::npos) << "the newest is sent";
}

TEST_F(WebSocketSenderTest, NamesALackOfMemoryForAFrame)
{
    FrameReceiver receiver(transport, "", WebSocketLimits().frame);
    EXPECT_EQ(test::failureOf([&] { return receiver.receive({}, 1); }), "Out of memory!");
    transport.allowed = 0;
    sender.send(frame(1));
    bool queued = false;
    for (int allowed = 0; !queued; ++allowed) { // all fragments are queued, or none
        auto large = frame(5'000'000);
        const test::FailingMemory shortage(allowed);
        try {
            sender.queue(std::move(large));
            queued = true;
        } catch (const std::bad_alloc&) {
        }
    }
    transport.allowed = std::size_t{1} << 30U;
    while (sender.resume().more) {
    }
    EXPECT_EQ(transport.written.size(), 3 + 5'000'000 + 30);
    for (int i = 0; i < 100; ++i) {
        sender.queue(frame(1));
    }
    {
        const test::FailingMemory shortage;
        EXPECT_TRUE(sender.flush().stuck);
    }
    EXPECT_EQ(sender.failure(), "std::bad_alloc");
    sender.end(); // would hang if the flush had not ended
}

TEST_F(WebSocketSenderTest, TellsWhichFrameFailedAndWhere)
{
    sender.queue(frame(3'000'000));
    transport.allowed = 5;
    sender.flush();
    transport.broken = true;
    EXPECT_TRUE(sender.resume().stuck);
    EXPECT_EQ(sender.failure(), "Unable to send websocket continuation frame: 0 of 2000000 bytes "
                                "sent, Broken pipe");
    EXPECT_TRUE(sender.isIdle()) << "what is left is dropped";

    FrameSender second(transport);
    transport.broken = false;
    transport.allowed = 12;
    second.queue(frame(100));
    second.flush();
    second.failIfStalled(std::chrono::hours(1));
    EXPECT_FALSE(second.hasFailed());
    second.resume();
    second.failIfStalled(std::chrono::milliseconds(0));
    EXPECT_EQ(second.failure(), "Unable to send final frame of websocket data: 10 of 100 bytes "
                                "sent, the client takes no data");
}

} // namespace
} // namespace connector::http::websocket
