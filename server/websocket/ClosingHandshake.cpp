#include "server/websocket/ClosingHandshake.h"

#include <algorithm>
#include <exception>
#include <poll.h>

#include "server/websocket/WebSocketLimits.h"

namespace connector::http::websocket {

namespace {

/// How often the limits are looked at.
constexpr std::chrono::milliseconds kStep{50};

} // namespace

bool ClosingHandshake::sendQueued()
{
    sender_.resume();
    while (!sender_.isIdle()) {
        sender_.failIfStalled(kClosingSendTimeout);
        if (isTimeUp() || sender_.hasFailed()) {
            return false;
        }
        const auto events = wait(inputEnded_ ? POLLOUT : POLLIN | POLLOUT, kStep);
        if ((events & ~POLLOUT) != 0) {
            inputEnded_ = discard() == FrameReceiver::Input::End;
        }
        sender_.resume();
    }
    return !sender_.hasFailed();
}

void ClosingHandshake::awaitClient()
{
    channel_.endOutput();
    const auto began = Clock::now();
    auto silentSince = began;
    while (!inputEnded_ && !isTimeUp()) {
        const auto now = Clock::now();
        if (now - began >= kLingerTime || now - silentSince >= kLingerSilence) {
            return;
        }
        if (wait(POLLIN, kStep) == 0) {
            continue;
        }
        const auto input = discard();
        inputEnded_ = input == FrameReceiver::Input::End;
        if (input == FrameReceiver::Input::Some) {
            silentSince = Clock::now();
        }
    }
}

bool ClosingHandshake::isTimeUp()
{
    if (!interrupted_) {
        return false;
    }
    const auto now = Clock::now();
    if (!interruptedAt_.has_value()) {
        interruptedAt_ = now;
    }
    return now - *interruptedAt_ >= kStopTime;
}

int ClosingHandshake::wait(int events, std::chrono::milliseconds timeout)
{
    if (!inputEnded_ && channel_.hasHiddenInput()) {
        return POLLIN;
    }
    return wait_.wait([events] { return events; }, timeout);
}

FrameReceiver::Input ClosingHandshake::discard()
{
    try {
        return receiver_.discard();
    } catch (const std::exception&) {
        return FrameReceiver::Input::End; // broken: it ends all the same
    }
}

} // namespace connector::http::websocket
