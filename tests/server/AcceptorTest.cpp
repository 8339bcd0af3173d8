#include "server/Acceptor.h"

#include <Poco/Net/NetException.h>
#include <Poco/ThreadPool.h>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "server/BindListeningSocket.h"
#include "server/ConnectionRegistry.h"
#include "server/ListeningSocket.h"
#include "tests/support/LogCapture.h"

namespace connector::http {
namespace {

using Poco::Net::StreamSocket;

class AcceptorTest : public testing::Test
{
protected:
    ~AcceptorTest() override
    {
        clients_.clear();
        acceptor_.stop();
        awaitNoThreads();
    }

    void connect(std::size_t count)
    {
        for (; count > 0; --count) {
            clients_.emplace_back(Poco::Net::SocketAddress("127.0.0.1", socket_.address().port()));
        }
    }

    /// Whether the connection is served, and not closed.
    bool isServed(std::size_t client)
    {
        try {
            char byte = 'x';
            clients_[client].sendBytes(&byte, 1);
        } catch (const Poco::IOException&) {
            return false;
        }
        return receives(client);
    }

    /// False as well for one that was reset.
    bool receives(std::size_t client)
    {
        try {
            char byte = 0;
            return clients_[client].receiveBytes(&byte, 1) == 1;
        } catch (const Poco::Net::NetException&) {
            return false;
        }
    }

    void awaitNoThreads() const
    {
        while (acceptor_.threads() > 0) {
            std::this_thread::yield();
        }
    }

    /// Sends back the one byte that the client sends.
    static void echo(StreamSocket& socket)
    {
        char byte = 0;
        socket.setReceiveTimeout(Poco::Timespan(60, 0));
        if (socket.receiveBytes(&byte, 1) == 1) {
            socket.sendBytes(&byte, 1);
        }
    }

    static Poco::Net::ServerSocket listen()
    {
        ListeningSocket socket(std::make_shared<ConnectionRegistry>());
        socket.bind(Poco::Net::SocketAddress("127.0.0.1", 0));
        socket.listen(200);
        return socket;
    }

    Poco::ThreadPool pool_{"test", 2, 64};
    const Poco::Net::ServerSocket socket_ = listen();
    Acceptor acceptor_{socket_, pool_, echo};
    std::vector<StreamSocket> clients_;
};

TEST_F(AcceptorTest, ServesSixtyFourWhileAsManyWaitAndClosesFurtherOnes)
{
    connect(129);
    EXPECT_FALSE(receives(128));
    EXPECT_EQ(acceptor_.threads(), 64U);
    for (std::size_t client = 0; client < 128; ++client) {
        EXPECT_TRUE(isServed(client)) << client;
    }
}

TEST_F(AcceptorTest, AStopClosesTheWaitingAndLeavesTheServed)
{
    connect(129); // that the last is closed tells that the others have arrived
    EXPECT_FALSE(receives(128));
    acceptor_.stop();
    EXPECT_FALSE(receives(64));
    EXPECT_TRUE(isServed(63));
}

TEST(BindListeningSocketTest, WarnsThatItFallsBackToIpv4)
{
    const test::ScopedLogCapture log(common::Level::Warning);
    int sockets = 0;
    const auto socket = bindListeningSocket(0, [&sockets] {
        if (++sockets <= 2) {
            throw Poco::Net::NetException("no IPv6");
        }
        return std::make_unique<Poco::Net::ServerSocket>();
    });
    EXPECT_EQ(socket->address().family(), Poco::Net::SocketAddress::IPv4);
    EXPECT_TRUE(log.contains("Failed to bind or listen with ipv6, trying ipv4: "
                             "Net Exception: no IPv6"));
}

} // namespace
} // namespace connector::http
