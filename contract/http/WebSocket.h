#pragma once

#include <cstdint>
#include <memory>

#include "contract/common/Export.h"
#include "contract/messaging/Message.h"
#include "contract/streams/DataBuffer.h"
#include "contract/streams/Streams.h"

namespace connector::http {

/// One WebSocket frame as a value. Copying it copies the payload.
class CONNECTOR_API WebSocketFrame
{
public:
    /// @param flags the first header byte: final-fragment bit, reserved bits and opcode
    ///        (RFC 6455 section 5.2).
    WebSocketFrame(common::DataBuffer payload, std::uint8_t flags);

    WebSocketFrame(const WebSocketFrame& other);
    WebSocketFrame& operator=(const WebSocketFrame& other);
    WebSocketFrame(WebSocketFrame&&) noexcept = default;
    WebSocketFrame& operator=(WebSocketFrame&&) noexcept = default;
    ~WebSocketFrame() = default;

    common::DataBuffer payload;
    std::uint8_t flags;
};

/// The reply by which a provider accepts a WebSocket upgrade.
class CONNECTOR_API WebSocket final : public Message
{
public:
    /// @param outgoing publishes the frames to send to the client.
    /// @param incoming receives the frames that come from the client.
    WebSocket(std::shared_ptr<reactive_streams::PublisherAPI<WebSocketFrame>> outgoing,
              std::shared_ptr<reactive_streams::SubscriberAPI<WebSocketFrame>> incoming);
    ~WebSocket() override;

    std::shared_ptr<reactive_streams::PublisherAPI<WebSocketFrame>> outgoing;
    std::shared_ptr<reactive_streams::SubscriberAPI<WebSocketFrame>> incoming;
};

} // namespace connector::http
