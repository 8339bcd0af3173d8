#pragma once

#include <Poco/Net/HTTPRequest.h>
#include <cstdint>

namespace connector::http {

/// How the body of a request is delimited (RFC 9112 section 6).
struct BodyFraming
{
    bool chunked = false;
    std::uint64_t length = 0; ///< In bytes; without meaning if chunked.
};

/// Checks all that decides where a request begins and ends, stricter than the parser does, so that
/// no intermediary can have read it another way.
/// @throws RequestRefusal with status 400 for: a version other than HTTP/1.x; a method that is no
///         token; control characters in the target; field names that are no token or values with
///         control characters (RFC 9110 section 5.5); several Host fields; a Content-Length that is
///         repeated or no decimal number; a Transfer-Encoding other than "chunked", repeated,
///         beside a Content-Length, or in HTTP/1.0.
BodyFraming checkFraming(const Poco::Net::HTTPRequest& request);

} // namespace connector::http
