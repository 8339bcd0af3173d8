#include "server/websocket/FrameReceiver.h"

#include <algorithm>
#include <new>
#include <stdexcept>
#include <utility>

namespace connector::http::websocket {

namespace {

/// A payload that lacks less is received along with what follows it.
constexpr std::size_t kInPlace = 16'384;

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

FrameReceiver::FrameReceiver(net::Transport& transport, std::string early, std::uint64_t limit)
    : transport_(transport), parser_(limit), early_(std::move(early)), input_(early_)
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

FrameReceiver::Input FrameReceiver::receive(std::span<char> scratch, std::size_t limit)
{
    std::string().swap(early_); // an assignment would keep the memory
    return namingLackOfMemory([&] { return doReceive(scratch, limit); });
}

FrameReceiver::Input FrameReceiver::doReceive(std::span<char> scratch, std::size_t limit)
{
    const auto ofPayload = parser_.payloadSpace();
    const auto inPlace = ofPayload.size() >= kInPlace;
    const auto whole = inPlace ? ofPayload : scratch;
    const auto space = whole.first(std::min(whole.size(), limit));
    const auto result = transport_.receive(space);
    mayHaveLeftInput_ = transport_.mayHoldInput(result, space.size());
    switch (result.status) {
    case net::IoStatus::Done:
        if (inPlace) {
            complete_ = parser_.takePayload(result.bytes);
        } else {
            input_ = {space.data(), result.bytes};
        }
        return Input::Some;
    case net::IoStatus::WouldBlock:
        return Input::None;
    case net::IoStatus::Ended:
        return Input::End;
    case net::IoStatus::Failed:
        break;
    }
    throw std::runtime_error(net::describe(result));
}

} // namespace connector::http::websocket
