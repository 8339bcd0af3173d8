#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tests/support/RawClient.h"

namespace connector::test {

/// A frame as a client sends it (RFC 6455 section 5.2), masked; made without code of the product.
std::string maskedFrame(unsigned flags, std::string_view payload);

/// A WebSocket client that sends any bytes, and keeps to the protocol only where it is told to.
class WebSocketClient : public RawClient
{
public:
    /// Upgrades a connection. @throws std::runtime_error if the server does not.
    /// @param early sent in one piece with the handshake.
    explicit WebSocketClient(std::uint16_t port, const std::string& path = "/",
                             const std::string& early = "");

    void sendFrame(unsigned flags, std::string_view payload) { send(maskedFrame(flags, payload)); }

    /// The next frame: its first byte in hexadecimal, ":" and the payload.
    std::string readFrame();

    /// The close code of the next frame, which must be a close frame, followed by the end of the
    /// connection; 0 if that frame has no code.
    unsigned readClose();
};

} // namespace connector::test
