#include "server/NetworkInterfaces.h"

#include <Poco/Net/IPAddress.h>
#include <Poco/Net/NetworkInterface.h>
#include <gtest/gtest.h>

namespace connector::http {
namespace {

using Poco::Net::IPAddress;

/// Opens the constructors. The library asks the system about the name, so each is the loopback.
struct NetworkInterface : Poco::Net::NetworkInterface
{
    template <typename... Arguments>
    explicit NetworkInterface(const Arguments&... arguments)
        : Poco::Net::NetworkInterface(arguments...)
    {}
};

TEST(NetworkInterfacesTest, EveryInterfaceIsABlockOfThreeLines)
{
    const NetworkInterface without("lo", "Dummy", "lo", 7U);
    const NetworkInterface four("lo", "Wire", "lo", IPAddress("192.168.1.7"),
                                IPAddress("255.255.255.0"), IPAddress("192.168.1.255"), 2U);
    const NetworkInterface six("lo", "lo", "lo", IPAddress("fe80::1"), 3U);
    const std::pair<const NetworkInterface&, const char*> cases[] = {
        {without, "#lo (Dummy)\n"
                  "           ()\n"
                  "    [IPv4]\n"},
        {four, "#lo (Wire)\n"
               "     IPv4 192.168.1.7 (192.168.1.255)\n"
               "    [IPv4 isIPv4Compatible isIPv4Mapped isSiteLocal isUnicast]\n"},
        {six, "#lo (lo)\n"
              "     IPv6 fe80::1 (0.0.0.0)\n"
              "    [IPv6 isLinkLocal isUnicast]\n"},
    };
    for (const auto& [interface, expected] : cases) {
        EXPECT_EQ(describeInterface(interface), expected);
    }
}

TEST(NetworkInterfacesTest, ListsTheLoopbackOfThisMachine)
{
    const auto text = listNetworkInterfaces();
    EXPECT_NE(text.find("     IPv4 127.0.0.1 ("), std::string::npos) << text;
    EXPECT_NE(text.find(" isLoopback"), std::string::npos) << text;
}

} // namespace
} // namespace connector::http
