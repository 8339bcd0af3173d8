#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "contract/http/HttpTypes.h"

namespace connector::http::client {

/// The status line and the headers of an answer.
struct ResponseHead
{
    std::uint16_t status = 0;
    StringMultimap headers; ///< Names in lower case.
};

/// How the end of an answer's body is found (RFC 9112 section 6.3).
struct BodyFraming
{
    enum class Kind
    {
        Length,
        Chunked,
        UntilClose
    };
    Kind kind = Kind::Length;
    std::uint64_t length = 0; ///< Bytes, of Kind::Length.
};

/// Reads the head of an answer. Folded lines are joined by a space.
/// @param text from the status line to the empty line.
/// @throws std::runtime_error "The upstream's answer is malformed."
ResponseHead parseResponseHead(std::string_view text);

/// The length that all Content-Length lines agree on, if there are any; a line may list it several
/// times.
/// @throws std::runtime_error "The upstream's answer is malformed." for one that is no number or
///         that contradicts another.
std::optional<std::uint64_t> announcedLength(const StringMultimap& headers);

/// Where the body of an answer ends. A Transfer-Encoding overrides a Content-Length.
/// @param method of the request, in upper case.
/// @throws std::runtime_error "The upstream's answer is malformed." as `announcedLength`, and for a
///         coding other than chunked.
BodyFraming bodyFramingOf(const ResponseHead& head, const std::string& method);

/// Name and value of the cookie that a Set-Cookie line sets, its attributes dropped; nothing for a
/// line without "=".
std::optional<std::pair<std::string, std::string>> parseSetCookie(std::string_view line);

} // namespace connector::http::client
