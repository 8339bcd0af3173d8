#pragma once

#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/IPAddress.h>
#include <string>
#include <string_view>

#include "contract/http/HttpTypes.h"

/// The pure part of turning a parsed request into a message.
namespace connector::http {

/// Gives a decoded path its "/" in front and removes each "/.." segment together with the segment
/// before it; at the root nothing more is removed. The result may be empty: "/a/.." is.
std::string normalisePath(std::string path);

/// The parameters of an undecoded query: names in lower case, values decoded.
/// @throws Poco::URISyntaxException for a malformed escape.
StringMultimap parseParameters(std::string_view rawQuery);

/// The header fields, names in lower case, values as received.
StringMultimap collectHeaders(const Poco::Net::HTTPRequest& request);

/// The cookies by name, unchanged.
StringMultimap collectCookies(const Poco::Net::HTTPRequest& request);

/// Whether a client at @p address is on this machine: a loopback address, or the IPv4 loopback
/// address 127.0.0.1 as an IPv6 socket shows it.
bool isLocalAddress(const Poco::Net::IPAddress& address);

} // namespace connector::http
