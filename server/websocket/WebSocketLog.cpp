#include "server/websocket/WebSocketLog.h"

#include "contract/common/LogRateLimit.h"

namespace connector::http::websocket {

using common::Level;

namespace {

// One limit of a kind for the whole process, as there is one log.
constinit common::LogRateLimit escaped;
constinit common::LogRateLimit receiving;
constinit common::LogRateLimit sending;

} // namespace

void logEscaped() noexcept
{
    try {
        throw;
    } catch (const std::exception& failure) {
        if (escaped.admits(kWebSocketLog, Level::Error)) {
            kWebSocketLog.write(Level::Error, "WebSocket error: ", failure.what());
        }
    } catch (...) {
        if (escaped.admits(kWebSocketLog, Level::Error)) {
            kWebSocketLog.write(Level::Error, "Unknown WebSocket error");
        }
    }
}

void logReceiving(const std::exception& failure)
{
    if (receiving.admits(kWebSocketLog, Level::Warning)) {
        kWebSocketLog.write(Level::Warning, "Error receiving data: ", failure.what());
    }
}

void logSending(const std::exception& failure)
{
    if (sending.admits(kWebSocketLog, Level::Warning)) {
        kWebSocketLog.write(Level::Warning, "WebSocket error: ", failure.what());
    }
}

} // namespace connector::http::websocket
