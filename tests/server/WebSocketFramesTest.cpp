#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <tuple>

#include "contract/common/Text.h"
#include "server/ServerLimits.h"
#include "server/websocket/CloseStatus.h"
#include "server/websocket/FrameFormat.h"
#include "server/websocket/FrameParser.h"
#include "server/websocket/UndeliveredFrames.h"
#include "server/websocket/Utf8Validator.h"
#include "tests/support/WebSocketClient.h"

namespace connector::http::websocket {
namespace {

using common::DataBuffer;
using test::maskedFrame;
using namespace std::string_literals;

constexpr std::uint64_t kLimit = 100'000;

/// What the parser makes of the bytes, fed in pieces: each frame as its flags in hexadecimal, ":"
/// and its payload; a fault as "!" and the close code; a frame that is not complete as "...".
std::string parse(const std::string& bytes, std::size_t step)
{
    std::string seen;
    FrameParser parser(kLimit);
    try {
        for (std::size_t at = 0; at < bytes.size(); at += step) {
            auto piece = std::string_view(bytes).substr(at, step);
            while (auto frame = parser.parse(piece)) {
                seen += "0123456789abcdef"[frame->flags >> 4U];
                seen += "0123456789abcdef"[frame->flags & 15U];
                seen += ":" + std::string(frame->payload.view()) + " ";
            }
        }
    } catch (const ClientFault& fault) {
        return seen + "!" + std::to_string(fault.code());
    }
    return seen + (parser.isAtBoundary() ? "" : "...");
}

TEST(WebSocketFramesTest, ParsesAtEveryFragmentSize)
{
    const auto text = maskedFrame(0x81, "Hello");
    const auto open = maskedFrame(0x01, "a\xe2\x82"); // ends within a character
    const auto size = [](const std::string& lengthBytes) { return "\x82"s + lengthBytes; };
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"frames in a row", text + maskedFrame(0x82, "\0\xff"s) + text,
         "81:Hello 82:\0\xff 81:Hello "s},
        {"empty frames", maskedFrame(0x81, "") + maskedFrame(0x02, "") + maskedFrame(0x80, ""),
         "81: 02: 80: "},
        {"fragments around control frames",
         open + maskedFrame(0x89, "p") + maskedFrame(0x00, "\xac") + maskedFrame(0x8a, "\xff") +
             maskedFrame(0x80, "z"),
         "01:a\xe2\x82 89:p 00:\xac 8a:\xff 80:z "},
        {"incomplete", text + text.substr(0, 7), "81:Hello ..."},
        {"not masked", text + "\x81\x00"s, "81:Hello !1002"},
        {"reserved bit 1", maskedFrame(0xc1, ""), "!1002"},
        {"reserved opcode 3", maskedFrame(0x83, ""), "!1002"},
        {"reserved opcode 11", maskedFrame(0x8b, ""), "!1002"},
        {"fragmented ping", maskedFrame(0x09, ""), "!1002"},
        {"long ping", maskedFrame(0x89, std::string(126, 'x')), "!1002"},
        {"continuation of nothing", maskedFrame(0x80, ""), "!1002"},
        {"continuation after a whole message", text + maskedFrame(0x00, "x"), "81:Hello !1002"},
        {"message within a message", maskedFrame(0x02, "x") + text, "02:x !1002"},
        {"two-byte length that fits one", size("\xfe\x00\x7d"s), "!1002"},
        {"eight-byte length that fits two", size("\xff\0\0\0\0\0\0\xff\xff"s), "!1002"},
        {"negative length", size("\xff\x80\0\0\0\0\0\0\0"s), "!1002"},
        {"above the limit", size("\xff\0\0\0\0\0\x01\x86\xa1"s), "!1009"},
        {"far above the limit", size("\xff\x7f\xff\xff\xff\xff\xff\xff\xff"s), "!1009"},
        {"text that is not UTF-8", maskedFrame(0x81, "a\xff"), "!1007"},
        {"text that ends within a character", maskedFrame(0x81, "\xe2\x82"), "!1007"},
        {"fragments that end within a character", open + maskedFrame(0x80, ""),
         "01:a\xe2\x82 !1007"},
        {"a character broken by the next fragment", open + maskedFrame(0x80, "b"),
         "01:a\xe2\x82 !1007"},
        {"a broken character forgotten with its message",
         maskedFrame(0x82, "\xe2") + maskedFrame(0x81, "a"), "82:\xe2 81:a "},
    };
    for (const auto& [name, bytes, seen] : cases) {
        for (const std::size_t step : {1UL, 2UL, 7UL, bytes.size()}) {
            SCOPED_TRACE(name + " in steps of "s + std::to_string(step));
            EXPECT_EQ(parse(bytes, step), seen);
        }
    }
}

TEST(WebSocketFramesTest, TellsAFaultAtItsFirstByte)
{
    const auto badText = maskedFrame(0x81, "abc\xed\xa0 and so on");
    const std::tuple<std::string, std::size_t> cases[] = {
        {maskedFrame(0xc1, "x"), 1},
        {maskedFrame(0x89, std::string(126, 'x')), 2},
        {"\x82\xff\0\0\0\0\0\x01\x86\xa1"s, 10},
        {badText, 6 + 5}};
    for (const auto& [bytes, faultAt] : cases) {
        EXPECT_EQ(parse(bytes.substr(0, faultAt - 1), 1).find('!'), std::string::npos);
        EXPECT_NE(parse(bytes.substr(0, faultAt), 1).find('!'), std::string::npos);
    }
}

TEST(WebSocketFramesTest, CarriesPayloadsOfEveryLengthForm)
{
    for (const std::size_t size : {125UL, 126UL, 65'535UL, 65'536UL, 100'000UL}) {
        std::string payload(size, '\0');
        std::generate(payload.begin(), payload.end(),
                      [i = 0]() mutable { return static_cast<char>(i++ * 7); });
        for (const std::size_t step : {1UL, 4099UL, 1UL << 20U}) {
            SCOPED_TRACE(std::to_string(size) + " in steps of " + std::to_string(step));
            EXPECT_EQ(parse(maskedFrame(0x82, payload), step), "82:" + payload + " ");
        }
        const FrameHead head(0x82, size);
        auto masked = maskedFrame(0x82, payload);
        masked[1] = static_cast<char>(masked[1] & 0x7f);
        EXPECT_EQ(head.view(), masked.substr(0, head.view().size()));
    }
}

TEST(WebSocketFramesTest, GivesAPayloadMemoryAsItArrives)
{
    using namespace std::string_view_literals;
    FrameParser parser(8'000'000);
    std::string_view head = "\x82\xff\0\0\0\0\0\x7a\x12\0mask"sv;
    EXPECT_FALSE(parser.parse(head).has_value());
    std::size_t arrived = 0;
    while (arrived < 8'000'000) {
        const auto room = parser.payloadSpace().size();
        ASSERT_LE(room, std::max<std::size_t>(arrived, 65'536));
        ASSERT_GT(room, 0U);
        EXPECT_EQ(parser.takePayload(room).has_value(), arrived + room == 8'000'000);
        arrived += room;
    }
}

TEST(WebSocketFramesTest, LimitsWhatIsReceivedBehindAnUndeliveredFrame)
{
    const auto frame = [](std::size_t size) { return WebSocketFrame(DataBuffer(size), 0x82); };
    UndeliveredFrames frames;
    EXPECT_GT(frames.room(8'000'000), http::WebSocketLimits().frame);
    for (const std::size_t size : {8'000'000UL, 0UL, 65'000UL}) {
        frames.push(frame(size));
    }
    EXPECT_EQ(frames.room(16), kReadAhead - 6 - 65'008 - 16);
    EXPECT_EQ(frames.room(1000), 0U);
    frames.pop();
    EXPECT_EQ(frames.room(0), kReadAhead - 65'008);
}

TEST(WebSocketFramesTest, ValidatesUtf8InPieces)
{
    for (const std::string text :
         {"sixteen bytes and \xc3\xa4 \xe2\x82\xac \xf0\x9f\x98\x80", "\xed\x9f\xbf\xee\x80\x80",
          "", "\xc2\x80\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf\xf0\x90\x80\x80\xf4\x8f\xbf\xbf",
          "a\xe2\x82", "\x80", "\xc1\xbf", "\xe0\x9f\xbf", "\xed\xa0\x80", "\xf0\x8f\xbf\xbf",
          "\xe2\x82z", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "0123456789abcdef\xff"}) {
        for (std::size_t split = 0; split <= text.size(); ++split) {
            SCOPED_TRACE(::testing::PrintToString(text) + " at " + std::to_string(split));
            Utf8Validator validator;
            const auto valid = validator.add(std::string_view(text).substr(0, split)) &&
                               validator.add(std::string_view(text).substr(split)) &&
                               validator.isComplete();
            EXPECT_EQ(valid, common::isValidUtf8(text));
        }
    }
}

TEST(WebSocketFramesTest, ReadsTheClientsCloseCode)
{
    const auto codeOf = [](const std::string& payload) -> std::string {
        try {
            return std::to_string(parseClosePayload(payload));
        } catch (const ClientFault& fault) {
            return "!" + std::to_string(fault.code());
        }
    };
    EXPECT_EQ(codeOf(""), "1005");
    EXPECT_EQ(codeOf("\x03"), "!1002");
    EXPECT_EQ(codeOf("\x03\xe8 goodbye \xc3\xa4"), "1000");
    EXPECT_EQ(codeOf("\x03\xe8\xc3"), "!1007");
    for (const unsigned code : {1000U, 1001U, 1003U, 1007U, 1011U, 1014U, 3000U, 3999U, 4999U}) {
        const std::string payload = {static_cast<char>(code >> 8U), static_cast<char>(code)};
        EXPECT_EQ(codeOf(payload), std::to_string(code));
        EXPECT_EQ(makeClosePayload(static_cast<CloseCode>(code)).view(), payload);
    }
    for (const unsigned code : {0U, 999U, 1004U, 1005U, 1006U, 1015U, 1016U, 2999U, 5000U}) {
        EXPECT_EQ(codeOf({static_cast<char>(code >> 8U), static_cast<char>(code)}), "!1002");
    }
}

} // namespace
} // namespace connector::http::websocket
