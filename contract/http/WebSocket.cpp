#include "contract/http/WebSocket.h"

#include <utility>

namespace connector::http {

WebSocketFrame::WebSocketFrame(common::DataBuffer payload_, std::uint8_t flags_)
    : payload(std::move(payload_)), flags(flags_)
{}

WebSocketFrame::WebSocketFrame(const WebSocketFrame& other)
    : payload(other.payload.clone()), flags(other.flags)
{}

WebSocketFrame& WebSocketFrame::operator=(const WebSocketFrame& other)
{
    return *this = WebSocketFrame(other);
}

WebSocket::WebSocket(std::shared_ptr<reactive_streams::PublisherAPI<WebSocketFrame>> outgoing_,
                     std::shared_ptr<reactive_streams::SubscriberAPI<WebSocketFrame>> incoming_)
    : outgoing(std::move(outgoing_)), incoming(std::move(incoming_))
{}

WebSocket::~WebSocket() = default;

} // namespace connector::http
