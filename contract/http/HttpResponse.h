#pragma once

#include <cstdint>
#include <memory>

#include "contract/common/Export.h"
#include "contract/http/HttpTypes.h"
#include "contract/messaging/Message.h"
#include "contract/streams/DataBuffer.h"
#include "contract/streams/Streams.h"

namespace connector::http {

/// The reply to an HttpRequest.
class CONNECTOR_API HttpResponse final : public Message
{
public:
    /// @param headers a "content-length", in any letter case, is honoured as the content length;
    ///        without it the length is the size of the body.
    /// @param cookies name to value; each becomes one "Set-Cookie" header, so the value may carry
    ///        attributes.
    /// @param body may be null: no body.
    HttpResponse(std::uint16_t status, StringMultimap&& headers, StringMultimap&& cookies,
                 std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>> body);

    /// A response without headers and cookies of its own.
    HttpResponse(std::uint16_t status,
                 std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>> body);
    ~HttpResponse() override;

    std::uint16_t status;
    StringMultimap headers;
    StringMultimap cookies;
    std::shared_ptr<reactive_streams::PublisherAPI<common::DataBuffer>> body;
};

} // namespace connector::http
