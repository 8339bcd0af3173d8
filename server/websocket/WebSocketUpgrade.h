#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "server/ResponseHead.h"

namespace connector::http {

class PocoWebSocket;
class RequestHead;
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

/// The answer of status 101 to a request that has passed `checkUpgrade`.
ResponseHead makeUpgradeHead(const RequestHead& head);

/// Makes what an upgraded connection needs. What may fail for lack of resources fails here, while
/// the request can still be answered; its connection is of no use for further requests either way.
/// To be called on the connection's thread.
/// @param open the server's connections, this one among them.
/// @throws std::exception
std::shared_ptr<PocoWebSocket> makeWebSocket(ServedRequest& request,
                                             websocket::OpenWebSockets& open);

/// Bridges the upgraded connection to the streams of @p reply, on the connection's thread; returns
/// once the connection has ended, and the socket is shut down. Nothing that the provider throws
/// leaves.
/// @param isStarted whether the server is; looked at twice a second.
/// @param stopToken stopped when the server stops: the connection ends at once then, see
///        `PocoWebSocket::close`.
void runWebSocket(PocoWebSocket& bridge, const WebSocket& reply,
                  const std::function<bool()>& isStarted,
                  const std::stop_token& stopToken) noexcept;

} // namespace connector::http
