#include <utility>

#include "server/http/HttpConnection.h"
#include "server/http/HttpService.h"
#include "server/websocket/PocoWebSocket.h"
#include "server/websocket/WebSocketUpgrade.h"

/// How a connection becomes a WebSocket, and what it does as one.
namespace connector::http {

void HttpConnection::beginUpgrade()
{
    webSocket_ = std::make_shared<PocoWebSocket>(
        *transport_, handle(), PocoWebSocket::Received{input_.takeAll(), input_.isHungUp()},
        service_.limits.webSocket);
    detectLostClients(descriptor());
    beginAnswer({makeUpgradeHead(*head_).format(), {}, 0}, true);
}

void HttpConnection::finishUpgrade()
{
    head_.reset();
    output_.reset();
    enter(State::Upgraded);
    const auto mark = exchange_->markThread();
    const auto reply = exchange_->releaseReply();
    webSocket_->join(static_cast<const WebSocket&>(*reply));
}

bool HttpConnection::stepUpgraded()
{
    const auto mark = exchange_->markThread();
    if (!webSocketClosing_) {
        if (webSocket_->receive(*turn_)) {
            armForWebSocket();
            return false;
        }
        webSocketClosing_ = true;
        webSocket_->close();
    }
    if (webSocket_->finishClosing(*turn_)) {
        enter(State::Ended);
    } else {
        armForWebSocket();
    }
    return false;
}

void HttpConnection::armForWebSocket() noexcept
{
    const auto deadline = webSocket_->deadline();
    if (deadline != deadline_) {
        arm(deadline);
    }
}

} // namespace connector::http
