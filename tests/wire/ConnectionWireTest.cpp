#include <gmock/gmock.h>
#include <list>
#include <thread>

#include "tests/wire/Site.h"

namespace connector::test {
namespace {

using testing::HasSubstr;
using testing::Not;

using ConnectionWireTest = ServedSiteTest;

TEST_F(ConnectionWireTest, PipelinedRequestsAreAnsweredInOrder)
{
    RawClient client(served_.port());
    std::string requests;
    for (int i = 0; i < 20; ++i) {
        requests += makeRequest("GET", "/ping") + makeRequest("HEAD", "/ten.json") +
                    makeRequest("POST", "/ping", "Content-Length: 3\r\n") + "abc" +
                    makeRequest("GET", "/missing.html");
    }
    client.send(requests);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(client.readResponse().body, "pong");
        EXPECT_EQ(client.readResponse(true).header("content-length"), "10");
        EXPECT_EQ(client.readResponse().body, "pong");
        EXPECT_EQ(client.readResponse().status, 404);
    }
}

TEST_F(ConnectionWireTest, AFaultyRequestIsRefusedAndItsConnectionClosed)
{
    const auto smuggled = makeRequest("GET", "/gone");
    const auto chunks = [](const std::string& body) {
        return makeRequest("POST", "/ping", "Transfer-Encoding: chunked\r\n") + body;
    };
    const std::string requests[] = {
        "nonsense\r\n\r\n",
        makeRequest("GET", "/%zz"),
        makeRequest("CONNECT", "/ping"),
        "GET /ping HTTP/1.1\r\nHost: user@a\r\n\r\n",
        makeRequest("GET", "/ping?" + std::string(1000, '&')),
        makeRequest("PUT", "/ping", "Content-Length: 9999999999\r\nExpect: 100-continue\r\n"),
        makeRequest("POST", "/ping", "Content-Length: 4\r\nTransfer-Encoding: chunked\r\n") +
            "0\r\n\r\n",
        chunks("3\r\nabcdef\r\n0\r\n\r\n"),
        chunks("24;\n0\r\n\r\n"),
        makeRequest("GET", "/" + std::string(100'000, 'a')),
        makeRequest("GET", "/ping", "Long: " + std::string(100'000, 'a') + "\r\n"),
    };
    for (const auto& request : requests) {
        SCOPED_TRACE(request.substr(0, 120));
        RawClient client(served_.port());
        client.send(request + smuggled);
        client.finishSending();
        const auto answer = client.readUntilClosed();
        EXPECT_THAT(answer, testing::MatchesRegex("HTTP/1.1 (4..|50[01]) .*"));
        EXPECT_THAT(answer, Not(testing::AnyOf(HasSubstr("pong"), HasSubstr("410 "))));
    }
    for (const auto& truncated :
         {std::string("GET /ping HTTP/1.1\r\nHost: x\r\n"),
          makeRequest("POST", "/ping", "Content-Length: 9\r\n") + "hi", chunks("4\r\nhalf\r\n")}) {
        RawClient client(served_.port());
        client.send(truncated);
        client.finishSending();
        EXPECT_THAT(client.readUntilClosed(), Not(HasSubstr("pong")));
    }
    EXPECT_EQ(served_.get("/ping").body, "pong");
}

TEST_F(ConnectionWireTest, BodiesOfEveryFramingAreRead)
{
    std::string chunks;
    for (int i = 0; i < 200; ++i) {
        chunks += "1000;ext=1\r\n" + std::string(0x1000, 'c') + "\r\n";
    }
    RawClient client(served_.port());
    for (const auto& request : {
             makeRequest("POST", "/ping", "Content-Length: 8000000\r\n") +
                 std::string(8000000, 'x'),
             makeRequest("POST", "/ping", "Transfer-Encoding: chunked\r\n") + chunks + "0\r\n\r\n",
         }) {
        client.send(request);
        EXPECT_EQ(client.readResponse().body, "pong");
    }
    client.send(makeRequest("POST", "/ping", "Content-Length: 2\r\nExpect: 100-continue\r\n"));
    EXPECT_EQ(client.readResponse(true).status, 100);
    client.send("hi");
    EXPECT_EQ(client.readResponse().body, "pong");
    for (const auto byte : makeRequest("POST", "/ping", "Content-Length: 2\r\n") + "hi") {
        client.send({&byte, 1});
        std::this_thread::yield();
    }
    EXPECT_EQ(client.readResponse().body, "pong");
}

TEST_F(ConnectionWireTest, DownloadsAreCompleteBesideAbandonedOnes)
{
    std::list<RawClient> clients; // the last one comes first
    for (int i = 0; i < 64; ++i) {
        clients.emplace_front(served_.port()).send("GET /big.mp4 HT");
    }
    for (auto& client : clients) {
        client.send("TP/1.1\r\nHost: x\r\n\r\n");
    }
    for (auto abandons = false; auto& client : clients) {
        abandons = !abandons;
        if (abandons) {
            client.read(1000);
            client.reset();
        } else {
            EXPECT_TRUE(client.readResponse().body == std::string(Site::kBigBytes, 'b'));
        }
    }
    EXPECT_EQ(served_.get("/ping").body, "pong");
}

} // namespace
} // namespace connector::test
