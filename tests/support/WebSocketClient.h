#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "tests/support/RawClient.h"

namespace connector::test {

/// A frame as a client sends it (RFC 6455 section 5.2), masked; made without code of the product.
inline std::string maskedFrame(unsigned flags, std::string_view payload)
{
    const std::string_view key = "\x37\xfa\x21\x3d";
    const int lengthBytes = payload.size() < 126 ? 0 : payload.size() < 65'536 ? 2 : 8;
    const auto length = lengthBytes == 0 ? payload.size() : lengthBytes == 2 ? 126U : 127U;
    std::string frame = {static_cast<char>(flags), static_cast<char>(0x80U | length)};
    for (int shift = 8 * lengthBytes - 8; shift >= 0; shift -= 8) {
        frame += static_cast<char>(payload.size() >> static_cast<unsigned>(shift));
    }
    frame += key;
    for (std::size_t i = 0; i < payload.size(); ++i) {
        frame += static_cast<char>(payload[i] ^ key[i % 4]);
    }
    return frame;
}

/// The header lines of a request that upgrades.
inline constexpr const char* kUpgradeHeaders =
    "Connection: keep-alive, Upgrade\r\nUpgrade: WebSocket\r\nSec-WebSocket-Version: 13\r\n"
    "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n";

/// A WebSocket client that sends any bytes, and keeps to the protocol only where it is told to.
class WebSocketClient : public RawClient
{
public:
    /// Upgrades a connection. @throws std::runtime_error if the server does not.
    /// @param early sent in one piece with the handshake.
    explicit WebSocketClient(std::uint16_t port, const std::string& path = "/",
                             const std::string& early = "")
        : RawClient(port)
    {
        send(makeRequest("GET", path, kUpgradeHeaders) + early);
        const auto answer = readResponse(true);
        if (answer.status != 101 ||
            answer.header("sec-websocket-accept") != "s3pPLMBiTxaQ9kYGzzhZRbK+xOo=") {
            throw std::runtime_error("no upgrade: " + answer.head);
        }
    }

    void sendFrame(unsigned flags, std::string_view payload) { send(maskedFrame(flags, payload)); }

    /// The next frame: its first byte in hexadecimal, ":" and the payload.
    std::string readFrame()
    {
        const auto head = read(2);
        const auto flags = static_cast<unsigned char>(head[0]);
        auto length = std::uint64_t{static_cast<unsigned char>(head[1])};
        if (length > 125) { // a masked one as well, which then has no end
            length = bigEndian(read(length == 126 ? 2 : 8));
        }
        constexpr auto kDigits = "0123456789abcdef";
        return std::string{kDigits[flags >> 4U], kDigits[flags & 15U], ':'} + read(length);
    }

    /// The close code of the next frame, which must be a close frame, followed by the end of the
    /// connection; 0 if that frame has no code.
    unsigned readClose()
    {
        const auto frame = readFrame();
        const auto rest = readUntilClosed();
        if (!frame.starts_with("88:") || !rest.empty()) {
            throw std::runtime_error("no close: " + frame + " and then " + rest);
        }
        return static_cast<unsigned>(bigEndian(std::string_view(frame).substr(3)));
    }

private:
    static std::uint64_t bigEndian(std::string_view bytes)
    {
        std::uint64_t value = 0;
        for (const char byte : bytes) {
            value = (value << 8U) | static_cast<unsigned char>(byte);
        }
        return value;
    }
};

} // namespace connector::test
