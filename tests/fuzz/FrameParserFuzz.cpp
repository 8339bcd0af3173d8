#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>

#include "server/websocket/CloseStatus.h"
#include "server/websocket/FrameParser.h"

namespace connector::http::websocket {
namespace {

/// Small enough for inputs to pass it.
constexpr std::uint64_t kLimit = 1000;

void append(std::string& seen, const WebSocketFrame& frame)
{
    seen += static_cast<char>(frame.flags);
    seen += std::to_string(frame.payload.size()) + ":";
    seen += frame.payload.view();
}

/// What the parser makes of the bytes, fed in pieces.
/// @param inPlace put payloads where the parser keeps them.
std::string parse(std::string_view bytes, std::size_t step, bool inPlace)
{
    std::string seen;
    FrameParser parser(kLimit);
    try {
        while (!bytes.empty()) {
            auto piece = bytes.substr(0, step);
            bytes.remove_prefix(piece.size());
            while (!piece.empty()) {
                const auto space = inPlace ? parser.payloadSpace() : std::span<char>();
                const auto taken = piece.copy(space.data(), space.size());
                piece.remove_prefix(taken);
                const auto frame = taken > 0 ? parser.takePayload(taken) : parser.parse(piece);
                if (frame.has_value()) {
                    append(seen, *frame);
                }
            }
        }
    } catch (const ClientFault& fault) {
        return seen + "!" + std::to_string(fault.code()) + fault.what();
    }
    return seen + (parser.isAtBoundary() ? "" : "...");
}

} // namespace
} // namespace connector::http::websocket

/// The outcome must not depend on how the bytes were cut.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using connector::http::websocket::parse;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const auto whole = parse(bytes, std::max<std::size_t>(size, 1), false);
    for (const std::size_t step : {1U, 2U, 7U, 64U}) {
        for (const bool inPlace : {false, true}) {
            if (parse(bytes, step, inPlace) != whole) {
                std::abort();
            }
        }
    }
    return 0;
}
