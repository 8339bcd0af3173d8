#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "contract/streams/DataBuffer.h"

/// Why a WebSocket connection ends (RFC 6455 section 7.4).
namespace connector::http::websocket {

enum CloseCode : std::uint16_t
{
    NormalClosure = 1000,
    GoingAway = 1001,
    ProtocolError = 1002,
    NoStatus = 1005, ///< Stands for a close frame without a code; never on the wire.
    InvalidPayload = 1007,
    MessageTooBig = 1009,
    InternalError = 1011
};

/// The client broke the protocol; the connection closes with the code.
class ClientFault : public std::runtime_error
{
public:
    ClientFault(CloseCode code, const std::string& text) : std::runtime_error(text), code_(code) {}

    [[nodiscard]] CloseCode code() const noexcept { return code_; }

private:
    CloseCode code_;
};

/// The code of a close frame that a client sent, `NoStatus` if it has none.
/// @throws ClientFault `ProtocolError` for one byte, or a code that no endpoint may send;
///         `InvalidPayload` for a reason that is not UTF-8.
CloseCode parseClosePayload(std::string_view payload);

/// The payload of a close frame with that code and no reason.
common::DataBuffer makeClosePayload(CloseCode code);

} // namespace connector::http::websocket
