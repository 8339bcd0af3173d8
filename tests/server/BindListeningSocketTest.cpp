#include "server/BindListeningSocket.h"

#include <Poco/Net/NetException.h>
#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"

namespace connector::http {
namespace {

TEST(BindListeningSocketTest, WarnsThatItFallsBackToIpv4)
{
    const test::ScopedLogCapture log(common::Level::Warning);
    int sockets = 0;
    const auto socket = bindListeningSocket(0, [&sockets] {
        return ++sockets > 2 ? std::make_unique<Poco::Net::ServerSocket>()
                             : throw Poco::Net::NetException("no IPv6");
    });
    EXPECT_EQ(socket->address().family(), Poco::Net::SocketAddress::IPv4);
    EXPECT_TRUE(log.contains("Failed to bind or listen with ipv6, trying ipv4: "));
}

} // namespace
} // namespace connector::http
