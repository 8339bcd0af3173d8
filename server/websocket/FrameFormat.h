#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// The wire format of WebSocket frames (RFC 6455 section 5.2).
namespace connector::http::websocket {

/// The parts of a frame's first byte.
inline constexpr std::uint8_t kFinalBit = 0x80;
inline constexpr std::uint8_t kReservedBits = 0x70;
inline constexpr std::uint8_t kOpcodeBits = 0x0f;

enum Opcode : std::uint8_t
{
    Continuation = 0,
    Text = 1,
    Binary = 2,
    Close = 8,
    Ping = 9,
    Pong = 10
};

/// The opcode of a frame with this first byte. Reserved ones have no name.
constexpr Opcode opcodeOf(std::uint8_t flags)
{
    return static_cast<Opcode>(flags & kOpcodeBits);
}

/// Whether frames of this opcode may come between the fragments of a message.
constexpr bool isControl(Opcode opcode)
{
    return opcode >= Close;
}

/// The payload of a control frame is no longer.
inline constexpr std::size_t kMaxControlPayload = 125;

/// What precedes the payload of a frame from the server: flags and length, no mask.
class FrameHead
{
public:
    FrameHead(std::uint8_t flags, std::uint64_t payloadLength);

    /// Valid while this object lives and stays where it is.
    [[nodiscard]] std::string_view view() const { return {bytes_.data(), size_}; }

private:
    std::array<char, 10> bytes_;
    std::uint8_t size_ = 2;
};

using MaskingKey = std::array<char, 4>;

/// Masks or unmasks bytes of a payload, in place (RFC 6455 section 5.3).
/// @param offset where in the payload the first of the bytes is.
void applyMask(char* bytes, std::size_t count, const MaskingKey& key, std::uint64_t offset);

} // namespace connector::http::websocket
