#pragma once

#include <functional>
#include <optional>
#include <stop_token>
#include <string>

namespace connector::http {

class RequestHead;
class ResponseHead;
class ServedRequest;
class WebSocket;
namespace websocket {
class OpenWebSockets;
}

/// Why a request can't become a WebSocket connection, as an answer to it.
struct UpgradeRefusal
{
    unsigned short status; ///< 400, 405 or 426.
    std::string text;
};

/// Checks the client's half of the opening handshake (RFC 6455 section 4.2.1).
/// @return nothing if the request is a proper upgrade.
std::optional<UpgradeRefusal> checkUpgrade(const RequestHead& head);

/// Tells the client of a refused request what would be accepted.
void describeUpgrade(ResponseHead& head);

/// Upgrades the connection and bridges it to the streams of @p reply, on the calling thread, which
/// is the connection's; returns once the connection has ended. The socket is shut down then and
/// speaks no HTTP any more.
/// @param request has passed `checkUpgrade`, and was read to its end.
/// @param open the server's connections, this one among them.
/// @param isStarted whether the server is; looked at twice a second.
/// @param stopToken stopped when the server stops: the connection ends at once then, see
///        `PocoWebSocket::close`.
/// @throws Poco::Exception when the handshake can't be answered; nothing was sent then.
void runWebSocket(ServedRequest& request, const WebSocket& reply, websocket::OpenWebSockets& open,
                  const std::function<bool()>& isStarted, const std::stop_token& stopToken);

} // namespace connector::http
