#include "server/websocket/FrameReceiver.h"

#include <stdexcept>
#include <utility>

#include "server/websocket/WebSocketLimits.h"

namespace connector::http::websocket {

namespace {

/// A payload that lacks less is received along with what follows it.
constexpr std::size_t kInPlace = kReceiveBufferSize / 4;

FrameReceiver::Input inputOf(const std::optional<std::size_t>& count)
{
    if (!count.has_value()) {
        return FrameReceiver::Input::None;
    }
    return *count > 0 ? FrameReceiver::Input::Some : FrameReceiver::Input::End;
}

} // namespace

FrameReceiver::FrameReceiver(SocketChannel& channel, std::string early, std::uint64_t limit)
    : channel_(channel), parser_(limit), early_(std::move(early)), input_(early_)
{}

std::optional<WebSocketFrame> FrameReceiver::next()
{
    if (complete_.has_value()) {
        return std::exchange(complete_, std::nullopt);
    }
    return input_.empty() ? std::nullopt : parser_.parse(input_);
}

FrameReceiver::Input FrameReceiver::receive(bool await)
{
    const auto ofPayload = parser_.payloadSpace();
    const auto inPlace = ofPayload.size() >= kInPlace;
    const auto space = inPlace ? ofPayload : buffer();
    const auto count = await ? channel_.await(space) : channel_.read(space);
    if (!inPlace) {
        input_ = {space.data(), count.value_or(0)};
    } else if (count.value_or(0) > 0) {
        complete_ = parser_.takePayload(*count);
    }
    const auto input = inputOf(count);
    if (input == Input::End && !parser_.isAtBoundary()) {
        throw std::runtime_error("The connection ended within a frame.");
    }
    return input;
}

FrameReceiver::Input FrameReceiver::discard()
{
    complete_.reset();
    input_ = {};
    return inputOf(channel_.read(buffer()));
}

std::span<char> FrameReceiver::buffer()
{
    if (buffer_ == nullptr) {
        buffer_ = std::make_unique_for_overwrite<char[]>(kReceiveBufferSize);
    }
    return {buffer_.get(), kReceiveBufferSize};
}

} // namespace connector::http::websocket
