#include "client/ResponseReader.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

#include "client/ClientLimits.h"
#include "tests/support/FailureText.h"

namespace connector::http::client {
namespace {

/// Status and body of the answer in @p wire, or the failure's text.
std::string read(std::string_view wire, std::size_t fragment, const std::string& method)
{
    ResponseReader::Buffer buffer;
    const auto receive = [&wire, fragment](char* into, std::size_t count) {
        const auto received = std::min({count, fragment, wire.size()});
        std::memcpy(into, wire.data(), received);
        wire.remove_prefix(received);
        return received;
    };
    ResponseReader reader(receive, buffer);
    std::string result;
    const auto failure = test::failureOf([&] {
        const auto head = reader.readHead();
        const auto body = reader.readBody(bodyFramingOf(head, method));
        return result = std::to_string(head.status) + " " + std::string(body.view());
    });
    return failure.empty() ? result : failure;
}

TEST(ResponseReaderTest, ReadsAnswersWhateverTheirFraming)
{
    const std::string closed = "The upstream closed the connection before the end of its answer.";
    const std::string malformed = "The upstream's answer is malformed.";
    const std::string tooLarge = "The upstream's answer is too large.";
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    const std::string chunked = ok + "Transfer-Encoding: Chunked\r\n\r\n";
    std::string interim;
    for (int i = 0; i < kMaxInterimResponses; ++i) {
        interim += "HTTP/1.1 100 Continue\r\n\r\n";
    }
    struct Case
    {
        std::string wire;
        std::string result;
        const char* method = "GET";
    };
    const Case cases[] = {
        {ok + "Content-Length: 5\r\n\r\nhellomore", "200 hello"},
        {ok + "Content-Length: 5, 5\r\ncontent-length:5\r\n\r\nhello", "200 hello"},
        {ok + "\r\nuntil the end", "200 until the end"},
        {"HTTP/1.0 404\nX: y\n\nbare", "404 bare"},
        {chunked + "5;x=y\r\nhello\r\n00A\r\n, 10 bytes\r\n0\r\nTrailer: x\r\n\r\n",
         "200 hello, 10 bytes"},
        {ok + "Content-Length: 2\r\nTransfer-Encoding: chunked\r\n\r\n1\r\na\r\n0\r\n\r\n",
         "200 a"},
        {ok + "Content-Length: 5\r\n\r\n", "200 ", "HEAD"},
        {"HTTP/1.1 204 No Content\r\nContent-Length: 4\r\n\r\nbody", "204 "},
        {"HTTP/1.1 304 Not Modified\r\nContent-Length: 5\r\n\r\n", "304 "},
        {"HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: </x>\r\n\r\n" + ok +
             "Content-Length: 1\r\n\r\nx",
         "200 x"},
        {interim + ok + "\r\n", "The upstream sends interim answers without end."},
        {"HTTP/1.1 101 Switching Protocols\r\n\r\n", "The upstream switched protocols."},
        {"", closed},
        {ok + "Content-Length: 5\r\n\r\nhell", closed},
        {chunked + "30000\r\n" + std::string(0x30000, 'x') + "\r\n0\r\n\r\n",
         "200 " + std::string(0x30000, 'x')},
        {chunked + "5\r\nhello\r\n", closed},
        {chunked + "5\r\nhello\r\n0\r\n", closed},
        {chunked + "5\r\nhelloworld\r\n0\r\n\r\n", malformed},
        {chunked + "5 \r\nhello\r\n0\r\n\r\n", malformed},
        {chunked + "5\nhello\r\n0\r\n\r\n", malformed},
        {chunked + "0\r\nno field\r\n\r\n", malformed},
        {chunked + "FFFFFFFFFFFFFFFF1\r\n", malformed},
        {chunked + "FFFFFFFFFFFFFFFF\r\n", tooLarge},
        {ok + "Transfer-Encoding: gzip, chunked\r\n\r\n", malformed},
        {ok + "Content-Length: 5\r\nContent-Length: 6\r\n\r\nhello", malformed},
        {ok + "Content-Length: 3000000000\r\n\r\nhello", tooLarge},
        {ok + "no colon\r\n\r\n", malformed},
        {ok + "a b: c\r\n\r\n", malformed},
        {ok + "X: a\rb\r\n\r\n", malformed},
        {ok + " folded: too early\r\n\r\n", malformed},
        {ok + "X: " + std::string(kMaxResponseHead, 'x') + "\r\n\r\n", tooLarge},
        {"SSH-2.0-OpenSSH_9.2\r\n\r\n", malformed},
        {"HTTP/1.1 20x OK\r\n\r\n", malformed},
        {"\r\n\r\n", malformed},
    };
    for (const auto& [wire, result, method] : cases) {
        for (const auto fragment : {std::size_t{1}, std::size_t{7}, wire.size() + 1}) {
            EXPECT_EQ(read(wire, fragment, method), result)
                << wire.substr(0, 200) << " in fragments of " << fragment;
        }
    }
}

TEST(ResponseReaderTest, TakesMemoryForWhatArrivesWithinItsLimits)
{
    const auto budget = std::make_shared<common::MemoryBudget>(100'000);
    ResponseReader::Buffer buffer;
    std::size_t left = 1000;
    ResponseReader announced(
        [&](char*, std::size_t count) {
            EXPECT_LT(budget->used(), 100'000U);
            const auto received = std::min(count, left);
            left -= received;
            return received;
        },
        buffer, {.bodyMemory = budget});
    EXPECT_EQ(test::failureOf([&] { return announced.readBody({.length = 400'000'000}); }),
              "The upstream closed the connection before the end of its answer.");
    const auto endless = [](char*, std::size_t count) { return count; };
    for (const auto kind : {BodyFraming::Kind::Length, BodyFraming::Kind::UntilClose}) {
        ResponseReader unbudgeted(endless, buffer, {.bodyMemory = budget});
        EXPECT_THROW(unbudgeted.readBody({kind, 400'000}), common::MemoryBudgetExceeded);
        ResponseReader unlimited(endless, buffer, {.maxBody = 90'000, .bodyMemory = budget});
        EXPECT_EQ(test::failureOf([&] {
                      return unlimited.readBody({kind, 400'000});
                  }),
                  "The upstream's answer is too large.");
        EXPECT_EQ(budget->used(), 0U);
    }
}

TEST(ResponseHeadTest, KeepsHeadersAndFindsCookies)
{
    const auto head = parseResponseHead(
        "HTTP/1.1 200 OK\r\nX-Long: a\r\n  b \r\nX-Late:\r\n c\r\n \r\nSet-Cookie: s=1\r\n"
        "SET-COOKIE :t=2\r\n\r\n");
    EXPECT_EQ(head.headers.find("x-long")->second, "a b");
    EXPECT_EQ(head.headers.find("x-late")->second, "c");
    EXPECT_EQ(head.headers.count("set-cookie"), 2U);
    using Cookie = std::pair<std::string, std::string>;
    const std::pair<const char*, std::optional<Cookie>> cases[] = {
        {"a=b=c; Path=/; odd; Expires=Thu, 01 Jan 1970", Cookie("a", "b=c")},
        {" a = \"b\" ;HttpOnly", Cookie("a", "\"b\"")},
        {"a=", Cookie("a", "")},
        {"flag; a=b", std::nullopt},
    };
    for (const auto& [line, cookie] : cases) {
        EXPECT_EQ(parseSetCookie(line), cookie) << line;
    }
}

} // namespace
} // namespace connector::http::client
