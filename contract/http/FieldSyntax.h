#pragma once

#include <string_view>

#include "contract/common/Export.h"

/// The syntax of header fields, for both directions.
namespace connector::http {

/// Whether @p text is a token (RFC 9110 section 5.6.2), as methods and field names are.
CONNECTOR_API bool isToken(std::string_view text);

/// Whether @p text may stand in a field value: no control characters but the tab (RFC 9110
/// section 5.5).
CONNECTOR_API bool isFieldValue(std::string_view text);

/// Whether @p character is a control character: below the space, or DEL.
CONNECTOR_API bool isControl(char character);

} // namespace connector::http
