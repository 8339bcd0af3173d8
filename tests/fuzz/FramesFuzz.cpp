#include <span>
#include <string>

#include "contract/common/Text.h"
#include "server/websocket/CloseStatus.h"
#include "server/websocket/FrameFormat.h"
#include "server/websocket/FrameParser.h"
#include "tests/fuzz/Fuzz.h"

namespace connector::http::websocket {
namespace {

using fuzz::require;

/// Small enough for inputs to pass it.
constexpr std::uint64_t kLimit = 200;

/// Looks at the frames that a parser lets pass.
class Frames
{
public:
    void add(const WebSocketFrame& frame)
    {
        const auto opcode = opcodeOf(frame.flags);
        const auto isFinal = (frame.flags & kFinalBit) != 0;
        require(frame.payload.size() <= kLimit, "No payload is above the limit.");
        require((frame.flags & kReservedBits) == 0, "No reserved bit is set.");
        if (isControl(opcode)) {
            require(isFinal && frame.payload.size() <= kMaxControlPayload,
                    "Control frames are short and whole.");
        } else {
            require((opcode == Continuation) == inMessage_, "Continuations continue a message.");
            addToMessage(frame.payload.view(), opcode, isFinal);
        }
        if (opcode == Close) {
            checkClose(frame.payload.view());
        }
        seen += static_cast<char>(frame.flags);
        seen += std::to_string(frame.payload.size()) + ":";
        seen += frame.payload.view();
    }

    std::string seen;

private:
    void addToMessage(std::string_view payload, std::uint8_t opcode, bool isFinal)
    {
        if (!inMessage_) {
            message_.clear();
            isText_ = opcode == Text;
        }
        message_ += payload;
        inMessage_ = !isFinal;
        require(!isFinal || !isText_ || common::isValidUtf8(message_), "Text is UTF-8.");
    }

    static void checkClose(std::string_view payload)
    {
        const auto code = parseClosePayload(payload);
        require(payload.empty() ? code == NoStatus
                                : payload.starts_with(makeClosePayload(code).view()),
                "A close code that is written is the one that was read.");
    }

    std::string message_;
    bool inMessage_ = false;
    bool isText_ = false;
};

/// What the parser makes of the bytes, fed in pieces.
/// @param inPlace put payloads where the parser keeps them.
std::string parse(std::string_view bytes, std::size_t step, bool inPlace)
{
    Frames frames;
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
                    frames.add(*frame);
                }
            }
        }
    } catch (const ClientFault& fault) {
        return frames.seen + "!" + std::to_string(fault.code()) + fault.what();
    }
    return frames.seen + (parser.isAtBoundary() ? "" : "...");
}

} // namespace
} // namespace connector::http::websocket

/// What a client sends after the handshake.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace connector;
    std::string seen[2];
    for (const bool inPlace : {false, true}) {
        seen[inPlace] = fuzz::readInPieces(fuzz::textOf(data, size), [=](auto bytes, auto step) {
            return http::websocket::parse(bytes, step, inPlace);
        });
    }
    fuzz::require(seen[0] == seen[1], "Frames received in place are the same.");
    return 0;
}
