#include "server/websocket/FrameReceiver.h"

#include <algorithm>
#include <new>
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

template <typename Operation>
auto namingLackOfMemory(const Operation& operation)
{
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        throw std::runtime_error("Out of memory!");
    }
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
    if (input_.empty()) {
        return std::nullopt;
    }
    return namingLackOfMemory([this] { return parser_.parse(input_); });
}

FrameReceiver::Input FrameReceiver::receive(bool await, std::size_t limit)
{
    return namingLackOfMemory([&] { return doReceive(await, limit); });
}

FrameReceiver::Input FrameReceiver::doReceive(bool await, std::size_t limit)
{
    const auto ofPayload = parser_.payloadSpace();
    const auto inPlace = ofPayload.size() >= kInPlace;
    const auto whole = inPlace ? ofPayload : buffer();
    const auto space = whole.first(std::min(whole.size(), limit));
    const auto count = await ? channel_.await(space) : channel_.read(space);
    if (!inPlace) {
        input_ = {space.data(), count.value_or(0)};
    } else if (count.value_or(0) > 0) {
        complete_ = parser_.takePayload(*count);
    }
    return inputOf(count);
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
