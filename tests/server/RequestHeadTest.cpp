#include "server/RequestHead.h"

#include <gtest/gtest.h>
#include <string>
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

TEST(RequestHead, LeavesTheLibraryWhatItActsUpon)
{
    const auto ofLibrary = [](const std::string& text) {
        RequestHead head;
        head.assign(text);
        std::string left;
        head.writeForLibrary(left);
        return left;
    };
    EXPECT_EQ(ofLibrary("POST /a?b HTTP/1.0\r\nHost: x\r\nconnection: Keep-Alive\r\n"
                        "Content-Length: 1\r\nExpect: 100-continue\r\nCookie: a=b\r\n\r\n"),
              "GET / HTTP/1.0\r\nconnection:Keep-Alive\r\nExpect:100-continue\r\n\r\n");
    const std::string upgrade = "GET /a HTTP/1.1\r\nHost: x\r\nUPGRADE: websocket\r\n\r\n";
    EXPECT_EQ(ofLibrary(upgrade), upgrade);
}

TEST(RequestHead, RefusesWhatAnotherReaderMightTakeDifferently)
{
    const std::vector<std::string> lines = {
        "GET /",
        "GET / HTTP/2.0",
        "GET / HTTP/1.10",
        "GET / http/1.1",
        "GET  / HTTP/1.1",
        "GET / a HTTP/1.1",
        " GET / HTTP/1.1",
        "G@T / HTTP/1.1",
        "GET /\x01 HTTP/1.1",
        "GET /\t HTTP/1.1",
        "GET / HTTP/1.1 ",
    };
    const std::vector<std::string> fields = {
        "no colon",
        ": nameless",
        "X : blank before the colon",
        "A: b\r\n continued",
        "A: b\rC: d",
        std::string("A: b\0c", 6),
        "A: \x7F",
        "Host: a\r\nhost: b",
        "Content-Length: 1\r\nContent-Length: 1",
        "Content-Length: 1, 1",
        "Content-Length: +1",
        "Content-Length: 0x1",
        "Content-Length:",
        "Content-Length: 9223372036854775808",
        "Transfer-Encoding: gzip, chunked",
        "Transfer-Encoding: =?us-ascii?Q?chunked?=",
        "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked",
        "Transfer-Encoding: chunked\r\nContent-Length: 1",
    };
    std::vector<std::string> heads = {"GET / HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n"};
    for (const auto& line : lines) {
        heads.push_back(line + "\r\nHost: x\r\n\r\n");
    }
    for (const auto& field : fields) {
        heads.push_back("GET / HTTP/1.1\r\n" + field + "\r\n\r\n");
    }
    std::string crowd = "GET / HTTP/1.1\r\n";
    for (int field = 0; field <= 100; ++field) {
        crowd += "A: b\r\n";
    }
    heads.push_back(crowd + "\r\n");
    for (const auto& head : heads) {
        EXPECT_THROW(RequestHead().assign(head), RequestRefusal) << head;
    }
}

} // namespace
} // namespace connector::http
