#pragma once

#include <exception>

#include "contract/common/Log.h"

namespace connector::http::websocket {

/// The log channel of the WebSocket connections.
inline constexpr common::Log kWebSocketLog("connector::http::websocket");

/// Logs the exception that is being handled, which came out of an operation of the bridge.
void logEscaped() noexcept;

/// Logs that the client can't be understood or heard any more.
void logReceiving(const std::exception& failure);

/// Logs that the client takes no more.
void logSending(const std::exception& failure);

/// Runs code of a provider, which must not take the connection's thread down.
template <typename Operation>
void guarded(const Operation& operation) noexcept
{
    try {
        operation();
    } catch (...) {
        logEscaped();
    }
}

} // namespace connector::http::websocket
