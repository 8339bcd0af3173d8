#include "server/websocket/WebSocketUpgrade.h"

#include <Poco/Net/HTTPRequest.h>
#include <algorithm>
#include <array>
#include <cctype>
#include <netinet/tcp.h>
#include <openssl/evp.h>
#include <openssl/sha.h>
#include <string_view>
#include <utility>

#include "contract/http/WebSocket.h"
#include "server/ConnectionSocketImpl.h"
#include "server/HttpDate.h"
#include "server/ServedRequest.h"
#include "server/tls/TlsConnectionSocketImpl.h"
#include "server/websocket/OpenWebSockets.h"
#include "server/websocket/PocoWebSocket.h"
#include "server/websocket/SocketChannel.h"
#include "server/websocket/WebSocketLog.h"

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

/// What proves to the client that its key was understood (RFC 6455 section 4.2.2).
std::string acceptFor(std::string_view key)
{
    const auto joined = std::string(key) + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
    std::array<unsigned char, SHA_DIGEST_LENGTH> digest;
    ::SHA1(reinterpret_cast<const unsigned char*>(joined.data()), joined.size(), digest.data());
    std::array<unsigned char, 4 * ((SHA_DIGEST_LENGTH + 2) / 3) + 1> text;
    const auto length = ::EVP_EncodeBlock(text.data(), digest.data(), SHA_DIGEST_LENGTH);
    return {reinterpret_cast<const char*>(text.data()), static_cast<std::size_t>(length)};
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

ResponseHead makeUpgradeHead(const RequestHead& head)
{
    ResponseHead answer(false, true, currentHttpDate());
    answer.setStatus(101);
    answer.offerUpgrade("websocket");
    answer.add("Sec-WebSocket-Accept", acceptFor(head.get("Sec-WebSocket-Key")));
    return answer;
}

std::shared_ptr<PocoWebSocket> makeWebSocket(ServedRequest& request,
                                             websocket::OpenWebSockets& open)
{
    auto& connection = request.connection();
    configure(request.socket());
    auto channel = makeChannel(connection);
    auto wait = std::make_unique<websocket::SocketWait>(channel->descriptor());
    return std::make_shared<PocoWebSocket>(request.socket(), std::move(channel), std::move(wait),
                                           websocket::AwakeWait(open.lastTurn()),
                                           connection.takeBuffered());
}

void runWebSocket(PocoWebSocket& bridge, const WebSocket& reply,
                  const std::function<bool()>& isStarted, const std::stop_token& stopToken) noexcept
{
    const std::stop_callback onStop(stopToken, [&bridge] { bridge.interrupt(); });
    websocket::guarded([&] {
        bridge.join(reply);
        while (isStarted() && bridge.receive()) {
        }
    });
    bridge.close();
}

} // namespace connector::http
