#include "server/websocket/ClosingHandshake.h"

#include <algorithm>

#include "server/websocket/WebSocketLimits.h"

namespace connector::http::websocket {

bool ClosingHandshake::proceed(std::span<char> scratch, bool& readable)
{
    forgetInput(scratch, readable);
    return !sendRest() || (sentAt_.has_value() && !isClientAwaited());
}

void ClosingHandshake::forgetInput(std::span<char> scratch, bool& readable)
{
    if (inputEnded_) { // later events tell of the end again
        readable = false;
    }
    for (int steps = 0; readable && steps < kReceivesPerTurn; ++steps) {
        const auto result = transport_.discard(scratch);
        readable = result.status == net::IoStatus::Done;
        inputEnded_ = !readable && result.status != net::IoStatus::WouldBlock;
        if (readable) {
            silentSince_ = Clock::now();
        }
    }
}

/// @return false if waiting is of no use: the client takes nothing, or was not told of the end.
bool ClosingHandshake::sendRest()
{
    hasMore_ = false;
    if (sentAt_.has_value()) {
        return true;
    }
    hasMore_ = sender_.resume().more;
    sender_.failIfStalled(kClosingSendTimeout);
    if (sender_.hasFailed()) {
        return false;
    }
    if (!sender_.isIdle()) {
        return true;
    }
    if (!hasClose_) {
        return false;
    }
    transport_.endOutput();
    sentAt_ = silentSince_ = Clock::now();
    return true;
}

bool ClosingHandshake::isClientAwaited() const
{
    const auto now = Clock::now();
    return !inputEnded_ && now - *sentAt_ < kLingerTime && now - silentSince_ < kLingerSilence;
}

net::Clock::time_point ClosingHandshake::deadline() const
{
    if (sentAt_.has_value()) {
        return std::min<Clock::time_point>(*sentAt_ + kLingerTime, silentSince_ + kLingerSilence);
    }
    const auto stalled = sender_.stalledSince();
    return stalled.has_value() ? *stalled + kClosingSendTimeout : Clock::time_point::max();
}

} // namespace connector::http::websocket
