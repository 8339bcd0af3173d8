#pragma once

#include <atomic>
#include <chrono>
#include <optional>

#include "server/websocket/FrameReceiver.h"
#include "server/websocket/FrameSender.h"
#include "server/websocket/SocketChannel.h"
#include "server/websocket/SocketWait.h"

namespace connector::http::websocket {

/// The last words of a connection (RFC 6455 section 7.1.1): sends what is queued, then reads on and
/// forgets what comes, until the client ends the connection too. Closed at once, with input unread,
/// the socket would send a reset, and the client would see that instead of the close frame.
///
/// Runs on the connection's thread and blocks it, within the limits of WebSocketLimits.h.
class ClosingHandshake
{
public:
    /// @param interrupted set, and @p wait woken, when the server stops meanwhile.
    ClosingHandshake(SocketChannel& channel, FrameSender& sender, FrameReceiver& receiver,
                     SocketWait& wait, const std::atomic<bool>& interrupted)
        : channel_(channel), sender_(sender), receiver_(receiver), wait_(wait),
          interrupted_(interrupted)
    {}

    /// @return false if the client does not take what is queued, or the time is up.
    bool sendQueued();

    /// Ends the output, and waits for the end of the input.
    void awaitClient();

private:
    using Clock = std::chrono::steady_clock;

    bool isTimeUp();
    int wait(int events, std::chrono::milliseconds timeout);
    FrameReceiver::Input discard();

    SocketChannel& channel_;
    FrameSender& sender_;
    FrameReceiver& receiver_;
    SocketWait& wait_;
    const std::atomic<bool>& interrupted_;
    std::optional<Clock::time_point> interruptedAt_;
    bool inputEnded_ = false;
};

} // namespace connector::http::websocket
