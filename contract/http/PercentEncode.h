#pragma once

#include <string>
#include <string_view>

#include "contract/common/Export.h"

namespace connector::http {

/// Percent-encodes each byte of @p text that may not stand there by itself (RFC 3986 section 2.1).
/// @param mayStand whether the byte stays as it is.
CONNECTOR_API std::string percentEncode(std::string_view text, bool (*mayStand)(char));

} // namespace connector::http
