#include <future>
#include <gmock/gmock.h>
#include <thread>

#include "tests/wire/Site.h"

namespace connector::test {
namespace {

using testing::HasSubstr;

class ConnectionWireTest : public testing::Test
{
protected:
    /// The server still answers.
    void expectAlive() { EXPECT_EQ(served_.get("/ping").body, "pong"); }

    ServedSite served_;
};

TEST_F(ConnectionWireTest, OneConnectionCarriesManyRequests)
{
    RawClient client(served_.port());
    for (int i = 0; i < 50; ++i) {
        client.send(makeRequest("GET", i % 2 == 0 ? "/ping" : "/ten.json"));
        EXPECT_EQ(client.readResponse().body, i % 2 == 0 ? "pong" : "0123456789");
    }
}

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

TEST_F(ConnectionWireTest, TheConnectionEndsWhenTheClientAsksForIt)
{
    const struct
    {
        const char* request;
        bool kept;
    } cases[] = {
        {"GET /ping HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n", false},
        {"GET /ping HTTP/1.0\r\n\r\n", false},
        {"GET /ping HTTP/1.0\r\nConnection: keep-alive\r\n\r\n", true},
        {"GET /ping HTTP/1.1\r\nHost: x\r\n\r\n", true},
    };
    for (const auto& [request, kept] : cases) {
        SCOPED_TRACE(request);
        RawClient client(served_.port());
        client.send(request);
        EXPECT_EQ(client.readResponse().body, "pong");
        if (kept) {
            client.send(request);
            EXPECT_EQ(client.readResponse().body, "pong");
        } else {
            EXPECT_EQ(client.readUntilClosed(), "");
        }
    }
}

TEST_F(ConnectionWireTest, AFaultyRequestIsRefusedAndItsConnectionClosed)
{
    const std::string post = "POST /ping HTTP/1.1\r\nHost: x\r\n";
    const std::string get = "GET /ping HTTP/1.1\r\nHost: x\r\n";
    const std::string smuggled = "GET /gone HTTP/1.1\r\nHost: x\r\n\r\n";
    const std::string requests[] = {
        "nonsense\r\n\r\n" + smuggled,
        "GET\r\n\r\n" + smuggled,
        "GET /ping\r\n\r\n" + smuggled,
        "GET /ping HTTP/2.0\r\nHost: x\r\n\r\n" + smuggled,
        "GET /ping HTCPCP/1.0\r\nHost: x\r\n\r\n" + smuggled,
        "GET /%zz HTTP/1.1\r\nHost: x\r\n\r\n" + smuggled,
        get + "No colon here\r\n\r\n" + smuggled,
        get + "Host: y\r\n\r\n" + smuggled,
        get + "Bad Name: 1\r\n\r\n" + smuggled,
        get + "Spaced : 1\r\n\r\n" + smuggled,
        get + "Control: a\x01z\r\n\r\n" + smuggled,
        get + "Encoded: =?utf-8?q?a=0D=0Ab?=\r\n\r\n" + smuggled,
        post + "Content-Length: 5\r\nContent-Length: 6\r\n\r\nabcdef" + smuggled,
        post + "Content-Length: 5\r\nContent-Length: 5\r\n\r\nabcde" + smuggled,
        post + "Content-Length: 5, 5\r\n\r\nabcde" + smuggled,
        post + "Content-Length: -1\r\n\r\n" + smuggled,
        post + "Content-Length: +5\r\n\r\nabcde" + smuggled,
        post + "Content-Length: 0x5\r\n\r\nabcde" + smuggled,
        post + "Content-Length: 99999999999999999999\r\n\r\n" + smuggled,
        post + "Content-Length: 4\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n" + smuggled,
        post + "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n" +
            smuggled,
        post + "Transfer-Encoding: gzip\r\n\r\n" + smuggled,
        post + "Transfer-Encoding: chunked, identity\r\n\r\n0\r\n\r\n" + smuggled,
        post + "Transfer-Encoding: chunked\r\n\r\nzz\r\nabc\r\n0\r\n\r\n" + smuggled,
        post + "Transfer-Encoding: chunked\r\n\r\n3\r\nabcdef\r\n0\r\n\r\n" + smuggled,
        post + "Transfer-Encoding: chunked\r\n\r\nffffffffffffffffff\r\n" + smuggled,
        "GET /" + std::string(100'000, 'a') + " HTTP/1.1\r\nHost: x\r\n\r\n",
        get + "Long: " + std::string(100'000, 'a') + "\r\n\r\n",
    };
    for (const auto& request : requests) {
        SCOPED_TRACE(request.substr(0, 120));
        RawClient client(served_.port());
        client.send(request);
        client.finishSending();
        const auto answer = client.readUntilClosed();
        EXPECT_THAT(answer, testing::MatchesRegex("HTTP/1.1 (4..|500) .*"));
        EXPECT_THAT(answer, testing::Not(HasSubstr("pong")));
        EXPECT_THAT(answer, testing::Not(HasSubstr("410 ")));
    }
    expectAlive();
}

TEST_F(ConnectionWireTest, ATruncatedRequestIsNeverTakenForAWholeOne)
{
    const char* requests[] = {
        "",
        "GET /pi",
        "GET /ping HTTP/1.1\r\nHost: x\r\n",
        "POST /ping HTTP/1.1\r\nHost: x\r\nContent-Length: 9\r\n\r\nhalf",
        "POST /ping HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhal",
        "POST /ping HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n4\r\nhalf\r\n",
    };
    for (const auto* request : requests) {
        SCOPED_TRACE(request);
        RawClient client(served_.port());
        client.send(request);
        client.finishSending();
        EXPECT_THAT(client.readUntilClosed(), testing::Not(HasSubstr("pong")));
    }
    expectAlive();
}

TEST_F(ConnectionWireTest, BodiesOfEveryFramingAreRead)
{
    std::string chunks;
    for (int i = 0; i < 200; ++i) {
        chunks += "1000;ext=1\r\n" + std::string(0x1000, 'c') + "\r\n";
    }
    const std::string requests[] = {
        makeRequest("POST", "/ping"),
        makeRequest("POST", "/ping", "Content-Length: 0\r\n"),
        makeRequest("POST", "/ping", "Content-Length: 8000000\r\n") + std::string(8'000'000, 'x'),
        makeRequest("POST", "/ping", "Transfer-Encoding: chunked\r\n") + chunks + "0\r\n\r\n",
        makeRequest("POST", "/ping", "Transfer-Encoding: chunked\r\n") + "0\r\nTrailer: x\r\n\r\n",
        makeRequest("GET", "/ping", "Content-Length: 2\r\n") + "hi",
    };
    for (const auto& request : requests) {
        SCOPED_TRACE(request.substr(0, 80));
        RawClient client(served_.port());
        client.send(request);
        EXPECT_EQ(client.readResponse().body, "pong");
    }
    RawClient patient(served_.port());
    patient.send(makeRequest("POST", "/ping", "Content-Length: 2\r\nExpect: 100-continue\r\n"));
    EXPECT_EQ(patient.readResponse(true).status, 100);
    patient.send("hi");
    EXPECT_EQ(patient.readResponse().body, "pong");
}

TEST_F(ConnectionWireTest, ARequestMayArriveByteByByte)
{
    RawClient client(served_.port());
    for (const auto byte : makeRequest("POST", "/ping", "Content-Length: 2\r\n") + "hi") {
        client.send({&byte, 1});
        std::this_thread::yield();
    }
    EXPECT_EQ(client.readResponse().body, "pong");
}

TEST_F(ConnectionWireTest, SixtyFourClientsAreServedAtOnce)
{
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 64; ++i) {
        clients.push_back(std::make_unique<RawClient>(served_.port()));
        clients.back()->send(makeRequest("GET", "/big.mp4"));
    }
    std::vector<std::future<std::string>> bodies;
    for (auto& client : clients) {
        bodies.push_back(
            std::async(std::launch::async, [&client] { return client->readResponse().body; }));
    }
    const auto expected = std::string(Site::kBigBytes, 'b');
    for (auto& body : bodies) {
        EXPECT_TRUE(body.get() == expected);
    }
}

TEST_F(ConnectionWireTest, AbandonedDownloadsLeaveNothingBehind)
{
    for (int i = 0; i < 100; ++i) {
        RawClient client(served_.port());
        client.send(makeRequest("GET", "/big.mp4"));
        if (i % 2 == 0) {
            client.read(1000);
        }
        client.reset();
    }
    expectAlive();
}

TEST_F(ConnectionWireTest, IdleClientsKeepNobodyOut)
{
    std::vector<std::unique_ptr<RawClient>> idle;
    for (int i = 0; i < 60; ++i) {
        idle.push_back(std::make_unique<RawClient>(served_.port()));
        idle.back()->send(i % 2 == 0 ? "" : "GET /ping HT");
    }
    expectAlive();
}

} // namespace
} // namespace connector::test
