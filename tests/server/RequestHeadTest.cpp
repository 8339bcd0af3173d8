#include "server/RequestHead.h"

#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

#include "server/RequestRefusal.h"

namespace connector::http {
namespace {

TEST(RequestHead, FindsTheEmptyLineHoweverTheInputArrives)
{
    for (const std::string head : {"GET / HTTP/1.1\r\nHost: x\r\n\r\n", "GET / HTTP/1.1\nA: b\n\n",
                                   "GET / HTTP/1.1\r\nA: b\n\r\n", "\r\n\r\n"}) {
        const auto input = head + "body\r\n\r\n";
        EXPECT_EQ(findHeadEnd(input, 0), head.size()) << head;
        for (std::size_t arrived = 0; arrived < head.size(); ++arrived) {
            EXPECT_EQ(findHeadEnd(input.substr(0, arrived), 0), std::nullopt) << arrived;
            EXPECT_EQ(findHeadEnd(input, arrived), head.size()) << arrived;
        }
    }
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
    std::string crowd;
    for (int field = 0; field < 100; ++field) {
        crowd += "A: b\r\n";
    }
    for (const std::string& field :
         {std::string("no colon"), std::string(": nameless"), std::string("X : blank"),
          std::string("A: b\r\n continued"), std::string("A: b\rC: d"), std::string("A: b\0c", 6),
          std::string("A: \x7F"), std::string("Host: a\r\nhost: b"), crowd + "A: b"}) {
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
    for (const auto& head : heads) {
        EXPECT_THROW(RequestHead().assign(head), RequestRefusal) << head;
    }
}

} // namespace
} // namespace connector::http
