#pragma once

#include <Poco/Net/IPAddress.h>
#include <memory>
#include <string>
#include <string_view>

#include "contract/http/HttpRequest.h"
#include "contract/http/HttpTypes.h"
#include "server/RequestHead.h"
#include "server/ServerLimits.h"

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

/// The parameters of an undecoded query: names in lower case, values decoded. Every piece between
/// two "&" is one, an empty piece too; an empty query has none.
/// @throws RequestRefusal with status 400 for too many, or for names that a hash table could only
///         hold at quadratic cost; Poco::URISyntaxException for a malformed escape.
StringMultimap parseParameters(std::string_view rawQuery, const RequestLimits& limits = {});

/// The header fields, names in lower case, values as received.
StringMultimap collectHeaders(const RequestHead& head);

/// The cookies of all Cookie fields by name, unchanged. Quotes around a value and backslashes in it
/// are taken away, as POCO does.
/// @throws RequestRefusal with status 431 for too many.
StringMultimap collectCookies(const RequestHead& head, const RequestLimits& limits = {});

/// The message of a request whose body is still to be read.
/// @param baseUrl goes into the message as it is.
/// @param local whether the client is on this machine.
/// @throws what the functions above throw.
std::unique_ptr<HttpRequest> makeRequest(const RequestHead& head, std::string baseUrl, bool local,
                                         const RequestLimits& limits);

/// Whether a client at @p address is on this machine: a loopback address, or the IPv4 loopback
/// address 127.0.0.1 as an IPv6 socket shows it.
bool isLocalAddress(const Poco::Net::IPAddress& address);

} // namespace connector::http
