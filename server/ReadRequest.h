#pragma once

#include <Poco/Net/HTTPServerRequestImpl.h>
#include <memory>
#include <string>

#include "contract/http/HttpRequest.h"

namespace connector::http {

/// Reads the request whole, its body included, into a message. The first to read the body: the
/// request's own stream must not have been touched. Blocks until the body is there.
/// @param baseUrl goes into the message as it is.
/// @param bodySize receives the size of the body in bytes.
/// @throws RequestRefusal with status 400 for a request that `checkFraming` refuses and for a body
///         that is truncated or malformed, with 408 for a body that stops arriving, with 413 for
///         one that is too large; Poco::URISyntaxException for a malformed request target.
std::unique_ptr<HttpRequest> readRequest(Poco::Net::HTTPServerRequestImpl& request,
                                         std::string baseUrl, std::size_t& bodySize);

} // namespace connector::http
