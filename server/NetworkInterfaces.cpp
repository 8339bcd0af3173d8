#include "server/NetworkInterfaces.h"

#include <Poco/Format.h>
#include <Poco/Net/IPAddress.h>
#include <Poco/Net/NetworkInterface.h>
#include <utility>

namespace connector::http {

namespace {

using Poco::Net::IPAddress;
using Poco::Net::NetworkInterface;

std::string familyOf(const NetworkInterface& interface)
{
    if (interface.supportsIPv4()) {
        return "IPv4";
    }
    return interface.supportsIPv6() ? "IPv6" : "    ";
}

std::string propertiesOf(const IPAddress& address)
{
    using Test = bool (IPAddress::*)() const;
    static constexpr std::pair<const char*, Test> kTests[] = {
        {" isBroadcast", &IPAddress::isBroadcast},
        {" isGlobalMC", &IPAddress::isGlobalMC},
        {" isIPv4Compatible", &IPAddress::isIPv4Compatible},
        {" isIPv4Mapped", &IPAddress::isIPv4Mapped},
        {" isLinkLocal", &IPAddress::isLinkLocal},
        {" isLinkLocalMC", &IPAddress::isLinkLocalMC},
        {" isLoopback", &IPAddress::isLoopback},
        {" isMulticast", &IPAddress::isMulticast},
        {" isNodeLocalMC", &IPAddress::isNodeLocalMC},
        {" isOrgLocalMC", &IPAddress::isOrgLocalMC},
        {" isSiteLocal", &IPAddress::isSiteLocal},
        {" isSiteLocalMC", &IPAddress::isSiteLocalMC},
        {" isUnicast", &IPAddress::isUnicast},
        {" isWellKnownMC", &IPAddress::isWellKnownMC},
        {" isWildcard", &IPAddress::isWildcard},
    };
    std::string properties = address.family() == IPAddress::IPv6 ? "IPv6" : "IPv4";
    for (const auto& [name, test] : kTests) {
        if ((address.*test)()) {
            properties += name;
        }
    }
    return properties;
}

} // namespace

std::string describeInterface(const NetworkInterface& interface)
{
    std::string address;
    std::string broadcast;
    std::string properties = "IPv4";
    if (!interface.addressList().empty()) {
        address = interface.address(0).toString();
        broadcast = interface.broadcastAddress(0).toString();
        properties = propertiesOf(interface.address(0));
    }
    return Poco::format("#%s (%s)\n", interface.name(), interface.displayName()) +
           Poco::format("     %s %s (%s)\n", familyOf(interface), address, broadcast) +
           Poco::format("    [%s]\n", properties);
}

std::string listNetworkInterfaces()
{
    constexpr bool kIpOnly = false;
    constexpr bool kUpOnly = true;
    std::string text;
    for (const auto& interface : NetworkInterface::list(kIpOnly, kUpOnly)) {
        text += describeInterface(interface);
    }
    return text;
}

} // namespace connector::http
