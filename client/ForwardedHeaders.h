#pragma once

#include "contract/http/HttpTypes.h"

namespace connector::http {

/// Removes the headers that belong to one connection alone and may not be forwarded to the next
/// (RFC 9110 section 7.6.1): Connection and those it names, Keep-Alive, Proxy-Connection, TE,
/// Trailer, Transfer-Encoding and Upgrade.
/// @param headers names in any letter case.
void removeConnectionHeaders(StringMultimap& headers);

} // namespace connector::http
