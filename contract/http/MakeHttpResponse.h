#pragma once

#include <memory>
#include <string>

#include "contract/common/Export.h"
#include "contract/http/HttpTypes.h"
#include "contract/messaging/Reply.h"
#include "contract/streams/DataBuffer.h"
#include "contract/streams/Streams.h"

namespace connector::http {

/// An HttpResponse with @p status and @p text as its whole body; no headers, no content type.
CONNECTOR_API std::unique_ptr<Message> makeHttpResponse(unsigned short status,
                                                        const std::string& text);

/// The same with headers.
CONNECTOR_API std::unique_ptr<Message>
makeHttpResponse(unsigned short status, const std::string& text, StringMultimap headers);

/// The response of `makeHttpResponse` in a resolved future.
CONNECTOR_API Reply makeReadyHttpResponse(unsigned short status, const std::string& text);
CONNECTOR_API Reply makeReadyHttpResponse(unsigned short status, const std::string& text,
                                          StringMultimap headers);

/// A body of one buffer.
CONNECTOR_API std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>>
makeBody(common::DataBuffer buffer);

} // namespace connector::http
