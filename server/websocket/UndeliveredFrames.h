#pragma once

#include <cstddef>
#include <list>
#include <utility>

#include "contract/http/WebSocket.h"
#include "server/websocket/FrameFormat.h"
#include "server/websocket/WebSocketLimits.h"

namespace connector::http::websocket {

/// The data frames of a client that wait for the subscriber's demand, the oldest first. Behind the
/// first one `kReadAhead` bytes may be received, so that control frames among them are seen. Holds
/// no memory while it is empty. Not synchronised.
class UndeliveredFrames
{
public:
    [[nodiscard]] bool empty() const noexcept { return frames_.empty(); }
    [[nodiscard]] std::size_t size() const noexcept { return frames_.size(); }

    /// The oldest frame; there must be one.
    WebSocketFrame& front() { return frames_.front(); }

    void push(WebSocketFrame&& frame)
    {
        const auto bytes = frames_.empty() ? 0 : receivedSize(frame);
        frames_.push_back(std::move(frame));
        bytesBehind_ += bytes;
    }

    /// Drops the oldest frame, which may have been moved from.
    void pop()
    {
        frames_.pop_front();
        if (!frames_.empty()) {
            bytesBehind_ -= receivedSize(frames_.front());
        }
    }

    void clear()
    {
        frames_.clear();
        bytesBehind_ = 0;
    }

    /// How many more bytes may be received.
    /// @param partial bytes that were received of the frame that follows.
    [[nodiscard]] std::size_t room(std::size_t partial) const noexcept
    {
        const auto used = bytesBehind_ + partial;
        return frames_.empty() ? kUnlimited : used < kReadAhead ? kReadAhead - used : 0;
    }

private:
    static constexpr auto kUnlimited = static_cast<std::size_t>(-1);

    /// Of a frame as it came over the wire.
    static std::size_t receivedSize(const WebSocketFrame& frame)
    {
        return FrameHead(frame.flags, frame.payload.size()).view().size() + sizeof(MaskingKey) +
               frame.payload.size();
    }

    std::list<WebSocketFrame> frames_;
    std::size_t bytesBehind_ = 0; ///< Of all frames but the first.
};

} // namespace connector::http::websocket
