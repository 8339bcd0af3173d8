#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "contract/common/Export.h"
#include "contract/http/HttpRequest.h"
#include "contract/http/HttpTypes.h"
#include "contract/messaging/Reply.h"
#include "contract/platform/JsonSerializer.h"

/// Messages in their JSON form as bodies of requests and answers.
namespace connector::http {

/// The longest JSON body that is read unless somebody asks for more.
inline constexpr std::size_t kMaxJsonBytes = 1UL << 20U;

/// Builds a message from the body of a request, by `JsonSerializer::fromTextStrictly`. The content
/// type is not looked at.
/// @param typeName of a message that is registered.
/// @return fails with HttpError 400 and the reason for a body that is not the JSON form of such a
///         message; 413 as `collectBody`.
/// @throws std::invalid_argument "Unknown message type: " + typeName.
CONNECTOR_API Reply readJsonBody(const HttpRequest& request,
                                 const std::shared_ptr<json::JsonSerializer>& serializer,
                                 const std::string& typeName, std::size_t maxBytes = kMaxJsonBytes);

/// An answer with the JSON form of @p message, whose type is registered, as "application/json".
/// @param headers further ones.
/// @throws what `JsonSerializer::toText` throws.
CONNECTOR_API Reply makeReadyJsonResponse(const json::JsonSerializer& serializer,
                                          const Message& message, unsigned short status = 200,
                                          StringMultimap headers = {});

} // namespace connector::http
