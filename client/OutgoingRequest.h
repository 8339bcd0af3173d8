#pragma once

#include <cstddef>
#include <string>

#include "client/UpstreamUrl.h"
#include "contract/http/HttpClientMessages.h"

namespace connector::http::client {

/// Whether a request with this method goes out with its body: all but GET, HEAD and DELETE.
/// @param method in upper case.
bool sendsBody(const std::string& method);

/// The head of an outgoing request, up to the empty line.
///
/// | header of the message                   | on the wire                                      |
/// |-----------------------------------------|--------------------------------------------------|
/// | Host                                    | one line: the first, or else the URL's host      |
/// | Cookie, and the message's cookies       | one line of all of them, joined by "; "          |
/// | Content-Length                          | the size of the body that is sent, if one is     |
/// | Connection                              | "close": each request has its own connection     |
/// | those that Connection names, Keep-Alive,| none                                             |
/// | Proxy-Connection, TE, Trailer,          |                                                  |
/// | Transfer-Encoding, Upgrade              |                                                  |
/// | Expect                                  | none: the body follows at once                   |
/// | all others                              | as they are                                      |
///
/// @param method in upper case.
/// @param bodySize in bytes; counts only if the method sends a body.
/// @throws std::invalid_argument "The request method is malformed.", "The request header is
///         malformed." for control characters and for names that are no token.
std::string formatRequestHead(const HttpClientRequest& request, const UpstreamUrl& url,
                              const std::string& method, std::size_t bodySize);

/// A request for the log: method, target, host and the names of its cookies. No values of headers
/// or cookies, for they may give access.
std::string describeRequest(const HttpClientRequest& request, const UpstreamUrl& url,
                            const std::string& method);

} // namespace connector::http::client
