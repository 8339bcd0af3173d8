#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "contract/http/HttpRequest.h"

namespace connector::http {

class ConnectionSocketImpl;

/// Turns the request that @p connection is at into a message, its body included: the first and only
/// reader of the body. Blocks until the body is there.
/// @param baseUrl goes into the message as it is.
/// @param bodySize receives the size of the body in bytes.
/// @throws RequestRefusal with status 400 for a body that is truncated or malformed, with 408 for a
///         body that stops arriving, with 413 for one that is too large; Poco::URISyntaxException
///         for a malformed request target.
std::unique_ptr<HttpRequest> readRequest(ConnectionSocketImpl& connection, std::string baseUrl,
                                         std::size_t& bodySize);

} // namespace connector::http
