#include "server/websocket/WebSocketUpgrade.h"

#include <Poco/Buffer.h>
#include <Poco/Net/HTTPServerRequestImpl.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/HTTPServerSession.h>
#include <Poco/Net/MessageHeader.h>
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
#include "server/tls/TlsConnectionSocketImpl.h"
#include "server/websocket/PocoWebSocket.h"
#include "server/websocket/SocketChannel.h"

namespace connector::http {

namespace {

using common::equalsIgnoreCaseAscii;
using Poco::Net::HTTPServerRequest;

constexpr const char* kVersion = "13";

/// A connection whose client fell silent is probed by TCP, so that one that vanished without a word
/// does not hold its thread for ever.
constexpr int kProbeAfterSeconds = 60;
constexpr int kProbeIntervalSeconds = 10;
constexpr int kProbes = 6;

/// Whether a field that is a list holds @p token, on any of its lines.
bool hasToken(const HTTPServerRequest& request, std::string_view field, std::string_view token)
{
    for (const auto& [name, value] : request) {
        if (!equalsIgnoreCaseAscii(name, field)) {
            continue;
        }
        std::vector<std::string> elements;
        Poco::Net::MessageHeader::splitElements(value, elements);
        if (std::ranges::any_of(elements, [token](const std::string& element) {
                return equalsIgnoreCaseAscii(element, token);
            })) {
            return true;
        }
    }
    return false;
}

/// A key is 16 bytes in Base64: 22 characters and two "=".
bool isKey(const std::string& key)
{
    constexpr std::size_t kCharacters = 22;
    return key.size() == kCharacters + 2 && key.ends_with("==") &&
           std::all_of(key.begin(), key.begin() + kCharacters, [](unsigned char c) {
               return std::isalnum(c) != 0 || c == '+' || c == '/';
           });
}

/// What was received of the connection and not read as part of the request.
std::string takeEarlyInput(Poco::Net::HTTPServerRequestImpl& request)
{
    Poco::Buffer<char> ofSession(0);
    request.session().drainBuffer(ofSession);
    return std::string(ofSession.begin(), ofSession.size()) +
           ConnectionSocketImpl::of(request.socket()).takeBuffered();
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

/// The handshake.
std::shared_ptr<PocoWebSocket> accept(Poco::Net::HTTPServerRequestImpl& request,
                                      Poco::Net::HTTPServerResponse& response)
{
    auto early = takeEarlyInput(request);
    auto& connection = ConnectionSocketImpl::of(request.socket());
    connection.leaveHttp();
    configure(request.socket());
    request.set("Upgrade", "websocket"); // of a list, the library would know none
    request.set("Connection", "Upgrade");
    // What may fail comes before the answer.
    auto channel = makeChannel(connection);
    auto wait = std::make_unique<websocket::SocketWait>(channel->descriptor());
    const Poco::Net::WebSocket socket(request, response);
    return std::make_shared<PocoWebSocket>(socket, std::move(channel), std::move(wait),
                                           std::move(early));
}

} // namespace

std::optional<UpgradeRefusal> checkUpgrade(const HTTPServerRequest& request)
{
    if (!hasToken(request, "Upgrade", "websocket") || !hasToken(request, "Connection", "Upgrade")) {
        return UpgradeRefusal{426, "This address accepts WebSocket connections only."};
    }
    if (request.getMethod() != HTTPServerRequest::HTTP_GET) {
        return UpgradeRefusal{405, "A WebSocket connection begins with a GET request."};
    }
    if (request.getVersion() == HTTPServerRequest::HTTP_1_0) {
        return UpgradeRefusal{400, "A WebSocket connection begins with an HTTP/1.1 request."};
    }
    if (request.get("Sec-WebSocket-Version", "") != kVersion) {
        return UpgradeRefusal{426, "Only version 13 of the WebSocket protocol is supported."};
    }
    if (!isKey(request.get("Sec-WebSocket-Key", ""))) {
        return UpgradeRefusal{400, "The Sec-WebSocket-Key is missing or malformed."};
    }
    return std::nullopt;
}

void describeUpgrade(ResponseHead& head)
{
    head.offerUpgrade("websocket");
    head.add("Sec-WebSocket-Version", kVersion);
}

void runWebSocket(Poco::Net::HTTPServerRequestImpl& request,
                  Poco::Net::HTTPServerResponse& response, const WebSocket& reply,
                  const std::function<bool()>& isStarted, const std::stop_token& stopToken)
{
    const auto bridge = accept(request, response);
    const std::stop_callback onStop(stopToken, [bridge] { bridge->interrupt(); });
    bridge->join(reply);
    while (isStarted() && bridge->receive()) {
    }
    bridge->close();
}

} // namespace connector::http
