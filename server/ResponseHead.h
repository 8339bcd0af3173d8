#pragma once

#include <Poco/Net/HTTPServerResponse.h>
#include <cstdint>
#include <string>

#include "contract/http/HttpResponse.h"

namespace connector::http {

/// Copies a reply's headers and cookies into the response, and settles its content length: what the
/// reply announces, else @p bodySize. A Transfer-Encoding is dropped, since the answer is sent
/// whole; a "Connection: close" is honoured, any other Connection field is this server's own
/// affair.
/// @throws std::invalid_argument "The response header is malformed." for control characters in a
///         name, a value or a cookie, or a name that is no token; "The content length is
///         malformed." for one that is no decimal number; std::out_of_range "The content length is
///         out of range." for one that is negative or larger than 2,147,483,647.
void fillResponse(const HttpResponse& reply, std::uint64_t bodySize,
                  Poco::Net::HTTPServerResponse& response);

/// Whether an answer with this status to this method is sent without a body, whatever its headers
/// announce (RFC 9112 section 6.3).
bool isBodiless(int status, const std::string& method);

/// The status line and the header fields, as they go out.
std::string formatHead(const Poco::Net::HTTPServerResponse& response);

} // namespace connector::http
