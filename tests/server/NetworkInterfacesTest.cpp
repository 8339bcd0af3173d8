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
    const std::pair<NetworkInterface, const char*> cases[] = {
        {NetworkInterface("lo", "Dummy", "lo", 7U), "#lo (Dummy)\n"
                                                    "           ()\n"
                                                    "    [IPv4]\n"},
        {NetworkInterface("lo", "Wire", "lo", IPAddress("192.168.1.7"), IPAddress("255.255.255.0"),
                          IPAddress("192.168.1.255"), 2U),
         "#lo (Wire)\n"
         "     IPv4 192.168.1.7 (192.168.1.255)\n"
         "    [IPv4 isIPv4Compatible isIPv4Mapped isSiteLocal isUnicast]\n"},
    };
    for (const auto& [interface, expected] : cases) {
        EXPECT_EQ(describeInterface(interface), expected);
    }
    EXPECT_NE(listNetworkInterfaces().find("     IPv4 127.0.0.1 ("), std::string::npos);
}

} // namespace
} // namespace connector::http
