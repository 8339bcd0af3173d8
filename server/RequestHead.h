#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace connector::http {

/// How the body of a request is delimited (RFC 9112 section 6).
struct BodyFraming
{
    bool chunked = false;
    std::uint64_t length = 0; ///< In bytes; without meaning if chunked.
};

/// Looks for the empty line that ends a head. A bare LF ends a line as well (RFC 9112 section 2.2).
/// @param searched how much of @p input earlier calls have searched in vain.
/// @return the size of the head, its empty line included.
std::optional<std::size_t> findHeadEnd(std::string_view input, std::size_t searched);

/// Checks a head as it came over the wire, so that no intermediary can have read it another way.
/// @param head a whole request head, its empty line included.
/// @throws RequestRefusal with status 400 for: a request line that is not method, target and
/// version
///         with one blank between them; a method that is no token; control characters in the
///         target; a version other than HTTP/1.x; a line without a colon, continued, or with a name
///         that is no token; control characters in a value (RFC 9112 section 5); several Host
///         fields; a Content-Length that is repeated or no decimal number; a Transfer-Encoding
///         other than "chunked", repeated, beside a Content-Length, or in HTTP/1.0.
BodyFraming checkHead(std::string_view head);

} // namespace connector::http
