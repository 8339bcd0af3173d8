#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "contract/http/WebSocket.h"
#include "server/websocket/FrameParser.h"
#include "server/websocket/SocketChannel.h"

namespace connector::http::websocket {

/// The frames of a client, out of a channel. Belongs to the connection's own thread.
class FrameReceiver
{
public:
    enum class Input
    {
        None, ///< Nothing has arrived yet.
        Some,
        End ///< The client has finished sending, after a whole frame or within one.
    };

    /// @param early what was received before the channel was made.
    /// @param limit the longest payload of a frame, in bytes.
    FrameReceiver(SocketChannel& channel, std::string early, std::uint64_t limit);

    /// The next frame of what was received; nothing if none is complete.
    /// @throws ClientFault, std::runtime_error "Out of memory!"
    std::optional<WebSocketFrame> next();

    /// Whether something was received that `next` has not looked at.
    [[nodiscard]] bool hasInput() const { return complete_.has_value() || !input_.empty(); }

    /// Bytes that were received of the frame under way; 0 between two frames.
    [[nodiscard]] std::size_t partial() const { return parser_.partial(); }

    /// Receives once, when `next` has no more. A long payload is received where it is to stay.
    /// @param await wait for input for a moment, as `SocketChannel::await`. Else it does not block.
    /// @param limit how many bytes at most; not 0.
    /// @throws ClientFault, std::runtime_error "Out of memory!" and what the channel throws.
    Input receive(bool await, std::size_t limit);

    /// Receives once and forgets it.
    /// @throws what the channel throws.
    Input discard();

private:
    Input doReceive(bool await, std::size_t limit);
    std::span<char> buffer();

    SocketChannel& channel_;
    FrameParser parser_;
    const std::string early_;
    std::unique_ptr<char[]> buffer_;         ///< Made once needed.
    std::string_view input_;                 ///< What of it, or of early_, was not looked at.
    std::optional<WebSocketFrame> complete_; ///< Completed by a payload received in place.
};

} // namespace connector::http::websocket
