#include "server/websocket/CloseStatus.h"

#include <array>

#include "server/websocket/Utf8Validator.h"

namespace connector::http::websocket {

namespace {

/// The codes of the protocol that may be sent: those of the RFC and 1012 to 1014, which were
/// registered since. 1004 has no meaning; 1005, 1006 and 1015 stand for the absence of a code.
/// Above them, 3000 to 3999 are for libraries and 4000 to 4999 for applications.
bool maySend(unsigned code)
{
    if (code >= 3000) {
        return code < 5000;
    }
    return code >= 1000 && code <= 1014 && code != 1004 && code != 1005 && code != 1006;
}

} // namespace

CloseCode parseClosePayload(std::string_view payload)
{
    if (payload.empty()) {
        return NoStatus;
    }
    if (payload.size() < 2) {
        throw ClientFault(ProtocolError, "The close frame holds half a code.");
    }
    const auto code = static_cast<std::uint16_t>((static_cast<std::uint8_t>(payload[0]) << 8U) |
                                                 static_cast<std::uint8_t>(payload[1]));
    if (!maySend(code)) {
        throw ClientFault(ProtocolError, "The close code " + std::to_string(code) + " is invalid.");
    }
    Utf8Validator reason;
    if (!reason.add(payload.substr(2)) || !reason.isComplete()) {
        throw ClientFault(InvalidPayload, "The close reason is not UTF-8.");
    }
    return static_cast<CloseCode>(code);
}

common::DataBuffer makeClosePayload(CloseCode code)
{
    if (code == NoStatus) {
        return {};
    }
    const std::array<char, 2> bytes = {static_cast<char>(code >> 8U), static_cast<char>(code)};
    return common::DataBuffer(std::string_view(bytes.data(), bytes.size()));
}

} // namespace connector::http::websocket
