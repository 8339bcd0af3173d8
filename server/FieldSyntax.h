#pragma once

#include <string_view>

/// The syntax of header fields, for both directions.
namespace connector::http {

/// Whether @p text is a token (RFC 9110 section 5.6.2), as methods and field names are.
bool isToken(std::string_view text);

/// Whether @p text may stand in a field value: no control characters but the tab (RFC 9110
/// section 5.5).
bool isFieldValue(std::string_view text);

/// Whether @p character is a control character: below the space, or DEL.
bool isControl(char character);

} // namespace connector::http
