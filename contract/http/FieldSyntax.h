#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "contract/common/Export.h"

/// The syntax of header fields, for both directions.
namespace connector::http {

/// One header field: views of a line.
struct HeaderField
{
    std::string_view name;
    std::string_view value; ///< Without the blanks around it.
};

/// Takes a field line apart (RFC 9112 section 5).
/// @param line without its line end.
/// @return nothing for a line without a colon, a name that is no token, or control characters in
///         the value. A folded line is none either: it begins with a blank.
CONNECTOR_API std::optional<HeaderField> parseField(std::string_view line);

/// @p text without the spaces and tabs around it.
CONNECTOR_API std::string_view trimBlanks(std::string_view text);

/// The length of the token that @p text begins with, 0 if there is none.
CONNECTOR_API std::size_t tokenLength(std::string_view text);

/// Whether @p text is a token (RFC 9110 section 5.6.2), as methods and field names are.
CONNECTOR_API bool isToken(std::string_view text);

/// Whether @p text may stand in a field value: no control characters but the tab (RFC 9110
/// section 5.5).
CONNECTOR_API bool isFieldValue(std::string_view text);

/// Whether @p text names a host as a Host field does (RFC 9110 section 7.2): a name, an IPv4
/// address or an IPv6 address in brackets, then perhaps ":" and a port of at most 65535. A name has
/// the characters of a URI's (RFC 3986 section 3.2.2) but for the comma, which joins values.
CONNECTOR_API bool isHost(std::string_view text);

/// Whether @p character is a control character: below the space, or DEL.
CONNECTOR_API bool isControl(char character);

} // namespace connector::http
