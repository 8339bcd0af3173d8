#include "server/websocket/PocoWebSocket.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

#include "contract/common/Failure.h"
#include "server/websocket/WebSocketLimits.h"
#include "server/websocket/WebSocketLog.h"

namespace connector::http {

namespace {

using common::Level;
using namespace websocket;

/// Sending to the client failed.
class SendFailure : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace

/// What the provider's subscriber holds. It does not keep the connection alive.
class PocoWebSocket::PocoWebSocketSubscription final : public reactive_streams::Subscription
{
public:
    explicit PocoWebSocketSubscription(std::weak_ptr<PocoWebSocket> bridge)
        : bridge_(std::move(bridge))
    {}

    void request(std::uint64_t n) override
    {
        if (const auto bridge = bridge_.lock()) {
            bridge->request(n);
        }
    }

    void cancel() override
    {
        if (const auto bridge = bridge_.lock()) {
            bridge->cancel();
        }
    }

private:
    const std::weak_ptr<PocoWebSocket> bridge_;
};

PocoWebSocket::PocoWebSocket(net::Transport& transport, net::Handle connection, Received received,
                             const WebSocketLimits& limits)
    : connection_(std::move(connection)), sendTimeout_(limits.sendTimeout),
      sender_(transport, limits.sendQueue), closing_(transport, sender_),
      receiver_(transport, std::move(received.input), limits.frame), hungUp_(received.hungUp),
      pingTimer_(limits.pingTimeout)
{}

PocoWebSocket::~PocoWebSocket() = default;

template <typename Operation>
void PocoWebSocket::attempt(const Operation& operation) noexcept
{
    try {
        operation();
    } catch (...) {
        logEscaped();
        fail(std::current_exception(), InternalError);
    }
}

void PocoWebSocket::join(const WebSocket& reply)
{
    const OwnThread mark(*this);
    if (reply.outgoing != nullptr) {
        attempt([&] { reply.outgoing->subscribe(shared_from_this()); });
    }
    if (reply.incoming != nullptr) {
        attempt([&] { subscribe(reply.incoming); });
    } else {
        cancel();
    }
}

void PocoWebSocket::subscribe(std::shared_ptr<StreamEnds::FrameSubscriber> subscriber)
{
    ends_.connectDownstream(subscriber,
                            std::make_shared<PocoWebSocketSubscription>(weak_from_this()));
}

void PocoWebSocket::request(std::uint64_t n)
{
    ends_.addDemand(n);
    wake();
}

void PocoWebSocket::cancel()
{
    if (kWebSocketLog.enabled(Level::Trace)) {
        kWebSocketLog.write(Level::Trace, "Cancel");
    }
    ends_.cancelDownstream();
    wake();
}

void PocoWebSocket::wake()
{
    if (!isOwnThread()) {
        connection_.wake();
    }
}

void PocoWebSocket::onSubscribe(std::shared_ptr<reactive_streams::Subscription> subscription)
{
    if (ends_.connectUpstream(subscription)) {
        requestFrame();
    } else {
        subscription->cancel();
    }
}

void PocoWebSocket::onNext(WebSocketFrame&& frame)
{
    if (ends_.isClosed()) {
        return;
    }
    const auto inStep = isOwnThread();
    attempt([&] {
        if (!inStep || !collecting_) {
            afterFlush(sender_.send(std::move(frame)));
            return;
        }
        queued_ = true;
        if (sender_.queue(std::move(frame))) { // leaves with the answers to what follows
            requestFrame();
        }
    });
}

void PocoWebSocket::onError(std::exception_ptr failure)
{
    if (endByProvider(InternalError)) {
        guarded([&failure] { std::rethrow_exception(common::nonNullFailure(failure)); });
    }
}

bool PocoWebSocket::endByProvider(CloseCode code)
{
    if (!ends_.close(code)) {
        return false;
    }
    ends_.releaseUpstream();
    wake();
    return true;
}

bool PocoWebSocket::receive(net::Turn& turn)
{
    const OwnThread mark(*this);
    note(turn);
    if (!ends_.isClosed()) {
        try {
            receiveAll(turn);
        } catch (const SendFailure& failure) {
            logSending(failure);
            fail(std::current_exception(), std::nullopt);
        } catch (const ClientFault& fault) {
            logReceiving(fault);
            fail(std::current_exception(), fault.code());
        } catch (const std::exception& failure) {
            logReceiving(failure);
            fail(std::current_exception(), std::nullopt);
        } catch (...) {
            logEscaped();
            fail(std::current_exception(), InternalError);
        }
        collecting_ = false;
    }
    return !ends_.isClosed();
}

void PocoWebSocket::note(net::Turn& turn)
{
    readable_ = readable_ || turn.has(net::kReadable | net::kHangUp | net::kBroken);
    hungUp_ = hungUp_ || turn.has(net::kHangUp | net::kBroken);
    broken_ = broken_ || turn.has(net::kBroken);
    if (turn.has(net::kStop) && !stoppedAt_.has_value()) {
        stoppedAt_ = Clock::now();
        ends_.close(GoingAway);
    }
    turn.events = 0;
}

void PocoWebSocket::receiveAll(net::Turn& turn)
{
    sendWaiting();
    for (int steps = 0; steps < kReceivesPerTurn; ++steps) {
        handleInput();
        if (requestsLeft_) {
            attempt([this] { requestsLeft_ = !ends_.resumeRequests(kRequestsPerStep); });
        }
        sendWaiting();
        if (ends_.isClosed() || (!receiveOnce(turn) && !requestsLeft_)) {
            watchForHangUp();
            watchForSilence();
            if (!undelivered_.empty() && !ends_.isPaused()) {
                connection_.wake(); // this thread itself gave the demand
            }
            return;
        }
    }
    connection_.wake(); // goes on after the other connections
}

/// @return whether there is input to handle.
bool PocoWebSocket::receiveOnce(net::Turn& turn)
{
    if (!readable_ || !receivesMore()) {
        return false;
    }
    const auto input = receiver_.receive(turn.scratch, undelivered_.room(receiver_.partial()));
    readable_ = input != FrameReceiver::Input::None && (hungUp_ || receiver_.mayHaveLeftInput());
    if (input == FrameReceiver::Input::End) {
        if (!undelivered_.empty()) {
            hungUpAt_ = Clock::now(); // the end is received again once they are delivered
            return false;
        }
        if (receiver_.partial() > 0) {
            throw std::runtime_error("The connection ended within a frame.");
        }
        ends_.close(std::nullopt);
    }
    if (input == FrameReceiver::Input::Some) {
        pingTimer_.heard();
    }
    return input == FrameReceiver::Input::Some;
}

void PocoWebSocket::sendWaiting()
{
    if (sender_.isBlocked()) {
        afterFlush(sender_.resume());
        sender_.failIfStalled(sendTimeout_);
    }
    if (sender_.hasFailed()) {
        throw SendFailure(sender_.failure());
    }
}

bool PocoWebSocket::receivesMore() const
{
    return !hungUpAt_.has_value() && undelivered_.room(receiver_.partial()) > 0;
}

void PocoWebSocket::watchForHangUp()
{
    if (undelivered_.empty()) {
        return;
    }
    if (hungUp_ && !hungUpAt_.has_value()) {
        hungUpAt_ = Clock::now();
    }
    if (broken_ || (hungUpAt_.has_value() && Clock::now() - *hungUpAt_ >= kUndeliveredTime)) {
        throw std::runtime_error("The client hung up before its frames were requested.");
    }
}

/// While output waits, a ping would wait behind it: `sendTimeout` is for that client.
void PocoWebSocket::watchForSilence()
{
    if (!sender_.isBlocked() && pingTimer_.takePing()) {
        sender_.queuePing();
        afterFlush(sender_.flush());
    }
}

net::Clock::time_point PocoWebSocket::deadline() const
{
    auto earliest = Clock::time_point::max();
    const auto consider = [&earliest](const auto& since, auto limit) {
        if (since.has_value()) {
            earliest = std::min<Clock::time_point>(earliest, *since + limit);
        }
    };
    consider(stoppedAt_, kStopTime);
    if (ends_.isClosed()) {
        return std::min(earliest, closing_.deadline());
    }
    if (sender_.isBlocked()) {
        consider(sender_.stalledSince(), sendTimeout_);
    } else {
        earliest = std::min(earliest, pingTimer_.deadline());
    }
    consider(hungUpAt_, kUndeliveredTime);
    return earliest;
}

void PocoWebSocket::close()
{
    const OwnThread mark(*this);
    ends_.close(GoingAway);
    ends_.deliverEnd();
    undelivered_.clear();
    const auto code = ends_.closeCode();
    if (code.has_value()) {
        guarded([&] { sender_.queueClose(makeClosePayload(*code)); });
    }
    closing_.begin(code.has_value());
}

bool PocoWebSocket::finishClosing(net::Turn& turn)
{
    note(turn);
    const auto isTimeUp = stoppedAt_.has_value() && Clock::now() - *stoppedAt_ >= kStopTime;
    const auto finished = isTimeUp || closing_.proceed(turn.scratch, readable_);
    if (finished) {
        sender_.end();
    } else if (readable_ || closing_.hasMore()) {
        connection_.wake(); // goes on after the other connections
    }
    return finished;
}

void PocoWebSocket::handleInput()
{
    while (!undelivered_.empty() && deliver(undelivered_.front(), undelivered_.size() > 1)) {
        undelivered_.pop();
        hungUpAt_.reset();
    }
    while (!ends_.isClosed()) {
        auto frame = receiver_.next();
        if (!frame.has_value()) {
            break;
        }
        handleFrame(std::move(*frame));
    }
    collecting_ = false;
    if (std::exchange(queued_, false)) {
        afterFlush(sender_.flush());
    }
}

void PocoWebSocket::handleFrame(WebSocketFrame&& frame)
{
    switch (opcodeOf(frame.flags)) {
    case Close:
        ends_.close(parseClosePayload(frame.payload.view()));
        break;
    case Ping:
        sender_.queuePong(std::move(frame.payload));
        queued_ = true;
        break;
    default:
        if (!undelivered_.empty() || !deliver(frame, receiver_.hasInput())) {
            undelivered_.push(std::move(frame));
        }
    }
}

bool PocoWebSocket::deliver(WebSocketFrame& frame, bool moreFollow)
{
    auto delivered = true;
    collecting_ = moreFollow;
    attempt([&] { delivered = ends_.deliver(frame); });
    return delivered;
}

void PocoWebSocket::requestFrame()
{
    attempt([this] {
        if (!isOwnThread()) {
            ends_.requestFrame(std::numeric_limits<int>::max());
        } else if (!ends_.requestFrame(kRequestsPerStep)) {
            requestsLeft_ = true;
        }
    });
}

void PocoWebSocket::afterFlush(FrameSender::Flushed flushed)
{
    if (flushed.more) {
        connection_.wake(); // goes on after the other connections
    } else if (flushed.stuck) {
        wake();
    }
    if (flushed.roomAgain) {
        requestFrame();
    }
}

void PocoWebSocket::fail(const std::exception_ptr& failure, std::optional<CloseCode> code)
{
    ends_.close(code, failure);
    wake();
}

} // namespace connector::http
