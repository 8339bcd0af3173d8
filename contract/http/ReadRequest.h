#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "contract/common/Export.h"
#include "contract/http/HttpRequest.h"
#include "contract/messaging/Future.h"
#include "contract/streams/DataBuffer.h"
#include "contract/streams/Streams.h"

/// What providers read of a request. What the client did wrong is thrown as an HttpError, which the
/// server answers with its status.
namespace connector::http {

/// The segments of a path that follow a route. Empty segments are left out. For the path
/// "/users/7/name" and the route "/users" they are "7" and "name".
/// @throws std::invalid_argument "The path is not below the route: " + path.
CONNECTOR_API std::vector<std::string> pathSegments(const std::string& path,
                                                    const std::string& route = "");

/// The value of a parameter of the query; of several, any one.
/// @param name in lower case.
CONNECTOR_API std::optional<std::string> findParameter(const HttpRequest& request,
                                                       const std::string& name);

/// The value of a parameter of the query as a decimal number.
/// @param name in lower case.
/// @param absent the value if there is no such parameter; unset: it is required.
/// @throws HttpError 400 "The parameter " + name + " is no number from " + min + " to " + max + "."
CONNECTOR_API long long readNumber(const HttpRequest& request, const std::string& name,
                                   long long min, long long max,
                                   std::optional<long long> absent = std::nullopt);

/// A whole body. Does not block; ready at once if the body is, as those of requests are.
/// @param body null: an empty one. Kept until its end.
/// @param maxBytes beyond it nothing is kept, and the future fails.
/// @return fails with HttpError 413 "The body is longer than " + maxBytes + " bytes.", and with the
///         body's own failure.
CONNECTOR_API Future<common::DataBuffer>
collectBody(const std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>>& body,
            std::size_t maxBytes);

/// As `collectBody`; the bytes are not checked.
CONNECTOR_API Future<std::string>
collectText(const std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>>& body,
            std::size_t maxBytes);

} // namespace connector::http
