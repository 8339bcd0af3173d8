#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "contract/http/WebSocket.h"
#include "contract/streams/DataBuffer.h"
#include "server/websocket/FrameFormat.h"
#include "server/websocket/Utf8Validator.h"

namespace connector::http::websocket {

/// Cuts what a client sends into frames and checks each against the protocol. Free of sockets, not
/// synchronised.
///
/// The bytes may come in pieces of any size. The memory for a payload is at most twice what has
/// arrived of it, or 64 KB, whatever length its header claims. Faults are told at the first byte
/// that shows them; the parser is of no use afterwards.
///
/// | fault                                                              | close code |
/// |--------------------------------------------------------------------|------------|
/// | reserved bits or opcode; a frame that is not masked; a length that | 1002       |
/// | is negative or longer than need be; a control frame that is        |            |
/// | fragmented or above 125 bytes; a continuation of no message, or a  |            |
/// | message within another                                             |            |
/// | text that is not UTF-8, also across fragments                      | 1007       |
/// | a payload above the limit                                          | 1009       |
class FrameParser
{
public:
    /// @param limit the longest payload of a frame, in bytes.
    explicit FrameParser(std::uint64_t limit) : limit_(limit) {}

    /// Takes bytes off the front of @p bytes, up to the end of the current frame.
    /// @return the frame, its payload unmasked; nothing if all bytes were taken and it needs more.
    /// @throws ClientFault, std::bad_alloc
    std::optional<WebSocketFrame> parse(std::string_view& bytes);

    /// Room for the next bytes of a payload that is under way, so that they can be received in
    /// place; empty outside of a payload. Valid until the next call of any other operation.
    /// @throws std::bad_alloc
    std::span<char> payloadSpace();

    /// Takes the first @p count bytes that were put into `payloadSpace`.
    /// @return as `parse`.
    /// @throws ClientFault
    std::optional<WebSocketFrame> takePayload(std::size_t count);

    /// Whether the input ends with a whole frame.
    [[nodiscard]] bool isAtBoundary() const { return headSize_ == 0; }

    /// Bytes taken of the frame under way.
    [[nodiscard]] std::size_t partial() const { return headSize_ + arrived_; }

private:
    bool parseHead(std::string_view& bytes);
    bool collectHead(std::string_view& bytes, std::size_t size);
    void checkFlags() const;
    void checkLengthByte() const;
    void checkLength() const;
    bool isText() const;
    std::optional<WebSocketFrame> finish();
    std::uint8_t headByte(std::size_t i) const { return static_cast<std::uint8_t>(head_[i]); }

    const std::uint64_t limit_;

    // The message that data frames belong to.
    bool inMessage_ = false; ///< Its final fragment has not come yet.
    bool textMessage_ = false;
    Utf8Validator text_;

    // The frame under way.
    std::array<char, 14> head_;
    std::size_t headSize_ = 0; ///< How much of the head has arrived.
    bool headComplete_ = false;
    std::uint64_t length_ = 0;
    MaskingKey key_;
    common::DataBuffer payload_; ///< As large as there is room for; `arrived_` of it are filled.
    std::size_t arrived_ = 0;
};

} // namespace connector::http::websocket
