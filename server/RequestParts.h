#pragma once

#include <Poco/Net/IPAddress.h>
#include <string>
#include <string_view>

#include "contract/http/HttpTypes.h"
#include "server/RequestHead.h"

/// The pure part of turning a parsed request into a message.
namespace connector::http {

/// A request target, in parts.
struct RequestTarget
{
    std::string path;     ///< Decoded, not normalised.
    std::string query;    ///< Decoded.
    std::string rawQuery; ///< As it came.
};

/// @throws Poco::URISyntaxException for a malformed target.
RequestTarget parseTarget(std::string_view target);

/// Gives a decoded path its "/" in front and removes each "/.." segment together with the segment
/// before it; at the root nothing more is removed. The result may be empty: "/a/.." is.
std::string normalisePath(std::string path);

/// The parameters of an undecoded query: names in lower case, values decoded.
/// @throws Poco::URISyntaxException for a malformed escape.
StringMultimap parseParameters(std::string_view rawQuery);

/// The header fields, names in lower case, values as received.
StringMultimap collectHeaders(const RequestHead& head);

/// The cookies of all Cookie fields by name, unchanged. Quotes around a value and backslashes in it
/// are taken away, as the networking library does.
StringMultimap collectCookies(const RequestHead& head);

/// Whether a client at @p address is on this machine: a loopback address, or the IPv4 loopback
/// address 127.0.0.1 as an IPv6 socket shows it.
bool isLocalAddress(const Poco::Net::IPAddress& address);

} // namespace connector::http
