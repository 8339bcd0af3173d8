#pragma once

#include <string>

#include "contract/common/Export.h"

namespace Poco::Net {
class NetworkInterface;
} // namespace Poco::Net

namespace connector::http {

/// A text for people that lists the network interfaces that are up, with or without an address:
/// three lines for each address of an interface, see `describeInterface`. Empty on a machine
/// without interfaces.
/// @throws Poco::Net::NetException when the system does not tell its interfaces.
CONNECTOR_API std::string listNetworkInterfaces();

/// The three lines of one interface: its name, its first address, that address's properties.
///
///     #lo (lo)
///          IPv4 127.0.0.1 (0.0.0.0)
///         [IPv4 isIPv4Compatible isIPv4Mapped isLoopback isUnicast]
///
/// An interface without any address shows blanks for the family, nothing for the address and the
/// broadcast address, and no properties behind "IPv4".
std::string describeInterface(const Poco::Net::NetworkInterface& interface);

} // namespace connector::http
