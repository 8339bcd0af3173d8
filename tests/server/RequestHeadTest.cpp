#include "server/RequestHead.h"

#include <functional>
#include <gmock/gmock.h>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "server/HeadScanner.h"
#include "server/RequestRefusal.h"
#include "tests/support/FailingMemory.h"

namespace connector::http {
namespace {

/// The status that @p action refuses a request with, or 0.
int statusOf(const std::function<void()>& action)
{
    try {
        action();
        return 0;
    } catch (const RequestRefusal& refusal) {
        return refusal.status();
    }
}

TEST(HeadScanner, FindsTheHeadHoweverTheInputArrives)
{
    for (const std::string emptyLines : {"", "\r\n", "\n\r\n"}) {
        for (const std::string head :
             {"GET / HTTP/1.1\r\nHost: x\r\n\r\n", "GET / HTTP/1.1\nA: b\n\n", "G\r\nA: b\n\r\n"}) {
            const auto input = emptyLines + head + "body\r\n\r\n";
            HeadScanner scanner;
            EXPECT_FALSE(scanner.hasBegun());
            for (std::size_t arrived = 1; arrived < emptyLines.size() + head.size(); ++arrived) {
                EXPECT_EQ(scanner.scan(input.substr(0, arrived)), std::nullopt) << arrived;
                EXPECT_TRUE(scanner.hasBegun()) << "a time limit runs from the first byte on";
                EXPECT_EQ(scanner.hasHead(), arrived > emptyLines.size());
            }
            EXPECT_EQ(scanner.scan(input), head);
        }
    }
    EXPECT_EQ(statusOf([] { HeadScanner().scan("\r\n\x16\x03"); }), 400);
    EXPECT_EQ(statusOf([] { HeadScanner({.head = 8}).scan("\r\n\r\n\r\nGE"); }), 431);
}

TEST(RequestHead, TellsHowTheBodyIsDelimited)
{
    RequestHead head; // one for all, as on a connection
    const auto framed = [&head](const std::string& fields) {
        head.assign("POST /a%20b?c HTTP/1.1\r\n" + fields + "\r\n");
        return head.framing();
    };
    EXPECT_EQ(framed("Host: x\r\nX-Empty:\r\nX-Tab: a\tb\xC3\xBC\r\n").length, 0U);
    EXPECT_EQ(framed("CONTENT-LENGTH:\t 42 \r\n").length, 42U);
    EXPECT_FALSE(framed("Content-Length: 42\n").chunked);
    EXPECT_TRUE(framed("transfer-encoding: Chunked\r\n").chunked);
    EXPECT_EQ(framed("").length, 0U);
}

TEST(RequestHead, TellsWhetherTheConnectionIsToGoOn)
{
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"1.1", "", true},
        {"1.1", "Connection: close\r\n", false},
        {"1.1", "Connection: keep-alive , CLOSE\r\n", false},
        {"1.1", "Connection: x\r\nconnection:,,close\r\n", false},
        {"1.1", "Connection: closed, \r\nX: close\r\n", true},
        {"1.0", "", false},
        {"1.0", "Connection: x\r\n", false},
        {"1.0", "Connection: x,Keep-Alive\r\n", true},
        {"1.0", "Connection: keep-alive, close\r\n", false},
    };
    for (const auto& [version, fields, goesOn] : cases) {
        RequestHead head;
        head.assign(std::string("GET / HTTP/") + version + "\r\n" + fields + "\r\n");
        EXPECT_EQ(head.keepsAlive(), goesOn) << version << " " << fields;
    }
}

TEST(RequestHead, RefusesWhatAnotherReaderMightTakeDifferently)
{
    std::vector<std::string> heads = {"GET / HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n"};
    for (const std::string line :
         {"GET /", "GET / HTTP/2.0", "GET / HTTP/1.10", "GET / http/1.1", "GET  / HTTP/1.1",
          "GET / a HTTP/1.1", " GET / HTTP/1.1", "G@T / HTTP/1.1", "GET /\x01 HTTP/1.1",
          "GET /\t HTTP/1.1", "GET / HTTP/1.1 "}) {
        heads.push_back(line + "\r\nHost: x\r\n\r\n");
    }
    for (const std::string& field :
         {std::string("no colon"), std::string(": nameless"), std::string("X : blank"),
          std::string("A: b\r\n continued"), std::string("A: b\rC: d"), std::string("A: b\0c", 6),
          std::string("A: \x7F"), std::string("Host: a\r\nhost: b")}) {
        heads.push_back("GET / HTTP/1.1\r\n" + field + "\r\n\r\n");
    }
    for (const std::string value : {"1\r\nContent-Length: 1", "1, 1", "+1", "0x1", "",
                                    "9223372036854775808", "1\r\nTransfer-Encoding: chunked"}) {
        heads.push_back("GET / HTTP/1.1\r\nContent-Length: " + value + "\r\n\r\n");
    }
    for (const std::string value :
         {"gzip, chunked", "=?us-ascii?Q?chunked?=", "chunked\r\nTransfer-Encoding: chunked"}) {
        heads.push_back("GET / HTTP/1.1\r\nTransfer-Encoding: " + value + "\r\n\r\n");
    }
    for (const std::string host :
         {"",         "user@a", "a/path", "a, b",   "a,b",    "<script>", "a b",
          "a:65536",  "a:-1",   "a:1x",   ":80",    "a:1:2",  "%4",       "%zz",
          "\xC3\xBC", "[::1",   "[]",     "[a]:80", "[::1]a", "[::1]80",  "::1"}) {
        heads.push_back("GET / HTTP/1.1\r\nHost: " + host + "\r\n\r\n");
    }
    for (const auto& head : heads) {
        EXPECT_EQ(statusOf([&head] { RequestHead().assign(head); }), 400) << head;
    }
}

TEST(RequestHead, TakesHostsAndRefusesWhatItDoesNotServe)
{
    std::string crowd;
    for (int field = 0; field < 100; ++field) {
        crowd += "A: b\r\n";
    }
    const std::tuple<const char*, std::string, int> cases[] = {
        {"GET / HTTP/1.1", "", 0},
        {"GET / HTTP/1.1", "Host: a_b-c.example:65535\r\n", 0},
        {"GET / HTTP/1.0", "Host: 127.0.0.1:\r\n", 0},
        {"GET / HTTP/1.1", "Host: [::ffff:127.0.0.1]:80\r\n", 0},
        {"GET / HTTP/1.1", "Host: %41~!$&'()*+;=\r\n", 0},
        {"GET / HTTP/1.1", crowd, 0},
        {"GET / HTTP/1.1", crowd + "A: b\r\n", 431},
        {"PUT / HTTP/1.1", "Content-Length: 1073741825\r\n", 413},
        {"CONNECT / HTTP/1.1", "", 501},
        {"CONNECT a:80 HTTP/1.1", "Host: a:80\r\n", 501},
    };
    for (const auto& [line, fields, status] : cases) {
        const auto head = line + ("\r\n" + fields) + "\r\n";
        EXPECT_EQ(statusOf([&head] { RequestHead().assign(head); }), status) << head;
    }
}

TEST(RequestHead, RefusesWithoutMemory)
{
    RequestHead head;
    head.assign("GET /a HTTP/1.1\r\nHost: a\r\n\r\n"); // takes what it needs for the next
    std::optional<RefusalAnswer> answer;
    std::optional<test::FailingMemory> shortage(0);
    try {
        head.assign("GET / HTTP/1.1\r\nHost: @\r\n\r\n");
    } catch (const RequestRefusal& refusal) {
        answer.emplace(refusal);
    }
    shortage.reset();
    EXPECT_THAT(
        std::string(answer.value().text()),
        testing::AllOf(testing::StartsWith("HTTP/1.1 400 Bad Request\r\n"),
                       testing::EndsWith("Content-Length: 21\r\n\r\nMalformed Host field.")));
}

} // namespace
} // namespace connector::http
