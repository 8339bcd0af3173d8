#pragma once

#include <optional>
#include <span>

#include "server/net/Session.h"
#include "server/net/Transport.h"
#include "server/websocket/FrameSender.h"

namespace connector::http::websocket {

/// The end of a connection (RFC 6455 section 7.1.1): sends what is queued, then waits for the
/// client to end the connection too. What the client sends meanwhile is read and forgotten: a
/// socket that is closed with input unread sends a reset, which the client would see in place of
/// the close frame. The limits are those of WebSocketLimits.h.
///
/// Belongs to the thread that runs the connection. No operation blocks.
class ClosingHandshake
{
public:
    ClosingHandshake(net::Transport& transport, FrameSender& sender)
        : transport_(transport), sender_(sender)
    {}

    /// @param hasClose whether a close frame is queued, which the client may answer.
    void begin(bool hasClose) noexcept { hasClose_ = hasClose; }

    /// Goes on as far as possible.
    /// @param readable whether the socket may have input; cleared once it has none.
    /// @return whether the handshake has ended.
    bool proceed(std::span<char> scratch, bool& readable);

    /// Whether `proceed` has to be called soon: the socket takes more of what is queued.
    [[nodiscard]] bool hasMore() const noexcept { return hasMore_; }

    /// When `proceed` has to be called, whatever happens.
    [[nodiscard]] net::Clock::time_point deadline() const;

private:
    using Clock = net::Clock;

    void forgetInput(std::span<char> scratch, bool& readable);
    bool sendRest();
    bool isClientAwaited() const;

    net::Transport& transport_;
    FrameSender& sender_;
    bool hasClose_ = false;
    bool inputEnded_ = false;
    bool hasMore_ = false;
    std::optional<Clock::time_point> sentAt_; ///< All that was queued.
    Clock::time_point silentSince_;
};

} // namespace connector::http::websocket
