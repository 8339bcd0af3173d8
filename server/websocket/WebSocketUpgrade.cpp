#include "server/websocket/WebSocketUpgrade.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/evp.h>
#include <openssl/sha.h>
#include <string_view>
#include <sys/socket.h>

#include "server/HttpDate.h"
#include "server/RequestHead.h"

namespace connector::http {

namespace {

constexpr const char* kVersion = "13";

/// A connection whose client fell silent is probed by TCP, so that one that vanished without a word
/// does not hold its connection for ever.
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
    if (head.method() != "GET") {
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

void detectLostClients(int descriptor)
{
    const auto set = [descriptor](int level, int option, int value) {
        ::setsockopt(descriptor, level, option, &value, sizeof(value));
    };
    set(SOL_SOCKET, SO_KEEPALIVE, 1);
    set(IPPROTO_TCP, TCP_KEEPIDLE, kProbeAfterSeconds);
    set(IPPROTO_TCP, TCP_KEEPINTVL, kProbeIntervalSeconds);
    set(IPPROTO_TCP, TCP_KEEPCNT, kProbes);
}

} // namespace connector::http
