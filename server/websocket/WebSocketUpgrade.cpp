#include "server/websocket/WebSocketUpgrade.h"

#include <Poco/Net/HTTPServerRequestImpl.h>
#include <Poco/Net/HTTPServerResponseImpl.h>
#include <Poco/Net/HTTPServerSession.h>
#include <Poco/Net/WebSocket.h>
#include <algorithm>
#include <cctype>
#include <memory>
#include <netinet/tcp.h>
#include <string_view>
#include <utility>
#include <vector>

#include "contract/common/Text.h"
#include "contract/http/WebSocket.h"
#include "server/ConnectionSocketImpl.h"
#include "server/ResponseHead.h"
#include "server/ServedRequest.h"
#include "server/ServerParameters.h"
#include "server/tls/TlsConnectionSocketImpl.h"
#include "server/websocket/OpenWebSockets.h"
#include "server/websocket/PocoWebSocket.h"
#include "server/websocket/SocketChannel.h"

namespace connector::http {

namespace {

constexpr const char* kVersion = "13";

/// A connection whose client fell silent is probed by TCP, so that one that vanished without a word
/// does not hold its thread for ever.
constexpr int kProbeAfterSeconds = 60;
constexpr int kProbeIntervalSeconds = 10;
constexpr int kProbes = 6;

/// A key is 16 bytes in Base64: 22 characters and two "=".
bool isKey(std::string_view key)
{
    constexpr std::size_t kCharacters = 22;
    return key.size() == kCharacters + 2 && key.ends_with("==") &&
           std::all_of(key.begin(), key.begin() + kCharacters, [](unsigned char c) {
               return std::isalnum(c) != 0 || c == '+' || c == '/';
           });
}

std::unique_ptr<websocket::SocketChannel> makeChannel(ConnectionSocketImpl& connection)
{
    if (auto* encrypted = dynamic_cast<TlsConnectionSocketImpl*>(&connection)) {
        return websocket::makeTlsChannel(connection.sockfd(), encrypted->session());
    }
    return websocket::makePlainChannel(connection.sockfd());
}

void configure(Poco::Net::StreamSocket& socket)
{
    socket.setNoDelay(true);
    socket.setKeepAlive(true);
    socket.setOption(IPPROTO_TCP, TCP_KEEPIDLE, kProbeAfterSeconds);
    socket.setOption(IPPROTO_TCP, TCP_KEEPINTVL, kProbeIntervalSeconds);
    socket.setOption(IPPROTO_TCP, TCP_KEEPCNT, kProbes);
}

/// The handshake, by the library's own request and response.
std::shared_ptr<PocoWebSocket> accept(ServedRequest& served, websocket::AwakeWait awake)
{
    auto& connection = served.connection();
    auto early = connection.takeBuffered();
    connection.leaveHttp();
    configure(served.socket());
    // What may fail comes before the answer.
    auto channel = makeChannel(connection);
    auto wait = std::make_unique<websocket::SocketWait>(channel->descriptor());

    auto parameters = makeServerParameters();
    Poco::Net::HTTPServerSession session(served.socket(), parameters);
    Poco::Net::HTTPServerResponseImpl response(session);
    connection.passHeadToLibrary();
    Poco::Net::HTTPServerRequestImpl request(response, session, parameters);
    response.setVersion(request.getVersion());
    response.setDate(Poco::Timestamp());
    response.set("Server", parameters->getSoftwareVersion());
    request.set("Upgrade", "websocket"); // of a list, the library would know none
    request.set("Connection", "Upgrade");
    const Poco::Net::WebSocket socket(request, response);
    return std::make_shared<PocoWebSocket>(socket, std::move(channel), std::move(wait), awake,
                                           std::move(early));
}

} // namespace

std::optional<UpgradeRefusal> checkUpgrade(const RequestHead& head)
{
    if (!head.lists("Upgrade", "websocket") || !head.lists("Connection", "Upgrade")) {
        return UpgradeRefusal{426, "This address accepts WebSocket connections only."};
    }
    if (head.method() != Poco::Net::HTTPRequest::HTTP_GET) {
        return UpgradeRefusal{405, "A WebSocket connection begins with a GET request."};
    }
    if (head.isHttp10()) {
        return UpgradeRefusal{400, "A WebSocket connection begins with an HTTP/1.1 request."};
    }
    if (head.get("Sec-WebSocket-Version") != kVersion) {
        return UpgradeRefusal{426, "Only version 13 of the WebSocket protocol is supported."};
    }
    if (!isKey(head.get("Sec-WebSocket-Key"))) {
        return UpgradeRefusal{400, "The Sec-WebSocket-Key is missing or malformed."};
    }
    return std::nullopt;
}

void describeUpgrade(ResponseHead& head)
{
    head.offerUpgrade("websocket");
    head.add("Sec-WebSocket-Version", kVersion);
}

void runWebSocket(ServedRequest& request, const WebSocket& reply, websocket::OpenWebSockets& open,
                  const std::function<bool()>& isStarted, const std::stop_token& stopToken)
{
    const auto bridge = accept(request, websocket::AwakeWait(open.lastTurn()));
    const std::stop_callback onStop(stopToken, [bridge] { bridge->interrupt(); });
    bridge->join(reply);
    while (isStarted() && bridge->receive()) {
    }
    bridge->close();
}

} // namespace connector::http
