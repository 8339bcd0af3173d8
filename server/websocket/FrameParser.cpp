#include "server/websocket/FrameParser.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "server/websocket/CloseStatus.h"

namespace connector::http::websocket {

namespace {

constexpr std::uint8_t kMaskBit = 0x80;
constexpr std::uint8_t kLengthBits = 0x7f;
constexpr std::size_t kFirstAllotment = 65'536;

/// The bytes that extend the length that the second byte of a head announces.
std::size_t lengthBytes(std::uint8_t lengthByte)
{
    switch (lengthByte & kLengthBits) {
    case 126:
        return 2;
    case 127:
        return 8;
    default:
        return 0;
    }
}

[[noreturn]] void refuse(const char* text)
{
    throw ClientFault(ProtocolError, text);
}

} // namespace

std::optional<WebSocketFrame> FrameParser::parse(std::string_view& bytes)
{
    if (!headComplete_ && !parseHead(bytes)) {
        return std::nullopt;
    }
    std::size_t taken = 0;
    do {
        const auto space = payloadSpace();
        taken = std::min(space.size(), bytes.size());
        std::copy_n(bytes.data(), taken, space.data());
        bytes.remove_prefix(taken);
        if (auto frame = takePayload(taken)) {
            return frame;
        }
    } while (taken > 0);
    return std::nullopt;
}

std::span<char> FrameParser::payloadSpace()
{
    if (!headComplete_) {
        return {};
    }
    if (arrived_ == payload_.size() && arrived_ < length_) {
        const auto allotment =
            std::max<std::uint64_t>(kFirstAllotment, std::uint64_t{2} * arrived_);
        const auto size = static_cast<std::size_t>(std::min(allotment, length_));
        payload_.reserve(size);
        payload_.resize(size);
    }
    return {payload_.data() + arrived_, payload_.size() - arrived_};
}

std::optional<WebSocketFrame> FrameParser::takePayload(std::size_t count)
{
    auto* const bytes = payload_.data() + arrived_;
    applyMask(bytes, count, key_, arrived_);
    arrived_ += count;
    if (isText() && !text_.add({bytes, count})) {
        throw ClientFault(InvalidPayload, "The text is not UTF-8.");
    }
    return arrived_ == length_ ? finish() : std::nullopt;
}

bool FrameParser::parseHead(std::string_view& bytes)
{
    if (headSize_ < 1) {
        if (!collectHead(bytes, 1)) {
            return false;
        }
        checkFlags();
    }
    if (headSize_ < 2) {
        if (!collectHead(bytes, 2)) {
            return false;
        }
        checkLengthByte();
    }
    const auto keyAt = 2 + lengthBytes(headByte(1));
    if (headSize_ < keyAt || keyAt == 2) {
        if (!collectHead(bytes, keyAt)) {
            return false;
        }
        length_ = keyAt == 2 ? headByte(1) & kLengthBits : 0U;
        for (auto i = std::size_t{2}; i < keyAt; ++i) {
            length_ = (length_ << 8U) | headByte(i);
        }
        checkLength();
    }
    if (!collectHead(bytes, keyAt + key_.size())) {
        return false;
    }
    std::memcpy(key_.data(), head_.data() + keyAt, key_.size());
    headComplete_ = true;
    if (opcodeOf(headByte(0)) == Text) {
        textMessage_ = true;
        text_.reset();
    } else if (opcodeOf(headByte(0)) == Binary) {
        textMessage_ = false;
    }
    return true;
}

bool FrameParser::collectHead(std::string_view& bytes, std::size_t size)
{
    if (headSize_ < size) {
        const auto taken = std::min(size - headSize_, bytes.size());
        std::copy_n(bytes.data(), taken, head_.data() + headSize_);
        bytes.remove_prefix(taken);
        headSize_ += taken;
    }
    return headSize_ >= size;
}

void FrameParser::checkFlags() const
{
    const auto opcode = opcodeOf(headByte(0));
    if ((headByte(0) & kReservedBits) != 0) {
        refuse("A reserved bit is set.");
    }
    if (opcode > Pong || (opcode > Binary && opcode < Close)) {
        refuse("The opcode is reserved.");
    }
    if (isControl(opcode)) {
        if ((headByte(0) & kFinalBit) == 0) {
            refuse("The control frame is fragmented.");
        }
    } else if (opcode == Continuation && !inMessage_) {
        refuse("There is no message to continue.");
    } else if (opcode != Continuation && inMessage_) {
        refuse("The message before is not finished.");
    }
}

void FrameParser::checkLengthByte() const
{
    if ((headByte(1) & kMaskBit) == 0) {
        refuse("The frame is not masked.");
    }
    if (isControl(opcodeOf(headByte(0))) && (headByte(1) & kLengthBits) > kMaxControlPayload) {
        refuse("The control frame is too long.");
    }
}

void FrameParser::checkLength() const
{
    const auto extra = lengthBytes(headByte(1));
    if ((extra == 2 && length_ < 126) || (extra == 8 && length_ <= 0xffff) ||
        (length_ >> 63U) != 0) {
        refuse("The length is malformed.");
    }
    if (length_ > limit_) {
        throw ClientFault(MessageTooBig,
                          "The frame is longer than " + std::to_string(limit_) + " bytes.");
    }
}

bool FrameParser::isText() const
{
    return textMessage_ && !isControl(opcodeOf(headByte(0)));
}

std::optional<WebSocketFrame> FrameParser::finish()
{
    const auto flags = headByte(0);
    const auto isFinal = (flags & kFinalBit) != 0;
    if (isText() && isFinal && !text_.isComplete()) {
        throw ClientFault(InvalidPayload, "The text ends within a character.");
    }
    if (!isControl(opcodeOf(flags))) {
        inMessage_ = !isFinal;
    }
    headSize_ = 0;
    headComplete_ = false;
    arrived_ = 0;
    return WebSocketFrame(std::exchange(payload_, {}), flags);
}

} // namespace connector::http::websocket
