#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "contract/http/WebSocket.h"
#include "server/net/Transport.h"
#include "server/websocket/FrameParser.h"

namespace connector::http::websocket {

/// The frames of a client, out of a transport. Belongs to the thread that runs the connection.
/// Between two frames it holds no memory.
class FrameReceiver
{
public:
    enum class Input
    {
        None, ///< Nothing has arrived yet.
        Some,
        End ///< The client has finished sending, after a whole frame or within one.
    };

    /// @param transport outlives the receiver.
    /// @param early what was received before the connection was upgraded.
    /// @param limit the longest payload of a frame, in bytes.
    FrameReceiver(net::Transport& transport, std::string early, std::uint64_t limit);

    /// The next frame of what was received; nothing if none is complete.
    /// @throws ClientFault, std::runtime_error "Out of memory!"
    std::optional<WebSocketFrame> next();

    /// Whether something was received that `next` has not looked at.
    [[nodiscard]] bool hasInput() const { return complete_.has_value() || !input_.empty(); }

    /// Bytes that were received of the frame under way; 0 between two frames.
    [[nodiscard]] std::size_t partial() const { return parser_.partial(); }

    /// Receives once, when `next` has no more. A long payload is received where it is to stay.
    /// @param scratch for what is not; must stay as it is until `next` has no more.
    /// @param limit how many bytes at most; not 0.
    /// @throws ClientFault, std::runtime_error "Out of memory!" or the reason of a failure.
    Input receive(std::span<char> scratch, std::size_t limit);

    /// Whether the last `receive` may have left input that no event tells of.
    [[nodiscard]] bool mayHaveLeftInput() const { return mayHaveLeftInput_; }

private:
    Input doReceive(std::span<char> scratch, std::size_t limit);

    net::Transport& transport_;
    FrameParser parser_;
    std::string early_;
    std::string_view input_;                 ///< What was not looked at, of early_ or the scratch.
    std::optional<WebSocketFrame> complete_; ///< Completed by a payload received in place.
    bool mayHaveLeftInput_ = true;
};

} // namespace connector::http::websocket
