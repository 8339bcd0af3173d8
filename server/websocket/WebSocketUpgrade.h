#pragma once

#include <optional>
#include <string>

#include "server/ResponseHead.h"

namespace connector::http {

class RequestHead;

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

/// Has TCP probe a client that is silent, so that one that has vanished is noticed.
void detectLostClients(int descriptor);

} // namespace connector::http
