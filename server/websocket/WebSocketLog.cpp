#include "server/websocket/WebSocketLog.h"

#include <string>

namespace connector::http::websocket {

using common::Level;

void logEscaped() noexcept
{
    try {
        throw;
    } catch (const std::exception& failure) {
        kWebSocketLog.write(Level::Error, std::string("WebSocket error: ") + failure.what());
    } catch (...) {
        kWebSocketLog.write(Level::Error, "Unknown WebSocket error");
    }
}

void logReceiving(const std::exception& failure)
{
    if (kWebSocketLog.enabled(Level::Warning)) {
        kWebSocketLog.write(Level::Warning, std::string("Error receiving data: ") + failure.what());
    }
}

void logSending(const std::exception& failure)
{
    if (kWebSocketLog.enabled(Level::Warning)) {
        kWebSocketLog.write(Level::Warning, std::string("WebSocket error: ") + failure.what());
    }
}

} // namespace connector::http::websocket
