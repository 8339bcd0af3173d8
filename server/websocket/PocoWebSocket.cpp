#include "server/websocket/PocoWebSocket.h"

#include <limits>
#include <poll.h>
#include <stdexcept>
#include <utility>

#include "server/websocket/ClosingHandshake.h"
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

PocoWebSocket::PocoWebSocket(const Poco::Net::StreamSocket& socket,
                             std::unique_ptr<SocketChannel> channel,
                             std::unique_ptr<SocketWait> wait, AwakeWait awake, std::string early)
    : thread_(std::this_thread::get_id()), socket_(socket), channel_(std::move(channel)),
      wait_(std::move(wait)), sender_(*channel_), awake_(awake),
      receiver_(*channel_, std::move(early), kReceiveLimit)
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
    wait_->wake();
}

void PocoWebSocket::cancel()
{
    if (kWebSocketLog.enabled(Level::Trace)) {
        kWebSocketLog.write(Level::Trace, "Cancel");
    }
    ends_.cancelDownstream();
    wait_->wake();
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
    if (inStep) {
        answered_ = true;
        queued_ = collecting_;
    }
    attempt([&] {
        if (!inStep || !collecting_) {
            afterFlush(sender_.send(std::move(frame)));
        } else if (sender_.queue(std::move(frame))) { // leaves with the answers to what follows
            requestFrame();
        }
    });
}

void PocoWebSocket::onError(std::exception_ptr failure)
{
    if (endByProvider(InternalError)) {
        guarded([&failure] {
            if (failure == nullptr) {
                throw std::runtime_error("The provider's stream failed.");
            }
            std::rethrow_exception(failure);
        });
    }
}

void PocoWebSocket::onComplete()
{
    endByProvider(NormalClosure);
}

bool PocoWebSocket::endByProvider(CloseCode code)
{
    if (!ends_.close(code)) {
        return false;
    }
    ends_.releaseUpstream();
    wait_->wake();
    return true;
}

bool PocoWebSocket::receive()
{
    if (interrupted_) {
        ends_.close(GoingAway);
    }
    if (!ends_.isClosed()) {
        try {
            receiveStep();
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
    if (!ends_.isClosed()) {
        return true;
    }
    ends_.deliverEnd();
    return false;
}

void PocoWebSocket::interrupt() noexcept
{
    interrupted_ = true;
    wait_->wake();
}

void PocoWebSocket::close()
{
    ends_.close(GoingAway);
    ends_.deliverEnd();
    guarded([this] { finish(); });
    sender_.end();
    channel_->shutDown();
    undelivered_.clear();
    socket_.reset();
}

void PocoWebSocket::receiveStep()
{
    if (undelivered_.empty() ? !receiver_.hasInput() : ends_.isPaused()) {
        awaitInput();
    }
    handleInput();
    if (requestsLeft_) {
        attempt([this] { requestsLeft_ = !ends_.resumeRequests(kRequestsPerStep); });
    }
}

void PocoWebSocket::awaitInput()
{
    if (std::exchange(answered_, false) && undelivered_.empty() && !sender_.isBlocked() &&
        !requestsLeft_ &&
        (awake_.waitUntil([this] { return receiveInput(false); }) || receiveInput(true))) {
        return;
    }
    const auto timeout = requestsLeft_ ? std::chrono::milliseconds(0) : kReceiveStep;
    const auto events = channel_->hasHiddenInput() && receivesMore()
                            ? POLLIN
                            : wait_->wait([this] { return awaitedEvents(); }, timeout);
    if ((events & POLLOUT) != 0) {
        afterFlush(sender_.resume());
    }
    sender_.failIfStalled(kSendTimeout);
    if (const auto failure = sender_.failure(); !failure.empty()) {
        throw SendFailure(failure);
    }
    if (!undelivered_.empty()) {
        watchForHangUp(events);
    }
    if ((events & ~POLLOUT) != 0 && receivesMore()) {
        receiveInput(false);
    }
}

bool PocoWebSocket::receivesMore() const
{
    return !hungUpAt_.has_value() && undelivered_.room(receiver_.partial()) > 0;
}

bool PocoWebSocket::receiveInput(bool await)
{
    const auto input = receiver_.receive(await, undelivered_.room(receiver_.partial()));
    if (input == FrameReceiver::Input::End) {
        if (!undelivered_.empty()) {
            hungUpAt_ = Clock::now(); // the end is received again once they are delivered
        } else if (receiver_.partial() > 0) {
            throw std::runtime_error("The connection ended within a frame.");
        } else {
            ends_.close(std::nullopt);
        }
    }
    return input != FrameReceiver::Input::None;
}

int PocoWebSocket::awaitedEvents()
{
    if (interrupted_ || ends_.isClosed() || sender_.hasFailed()) {
        return SocketWait::kDoNotSleep;
    }
    if (!undelivered_.empty() && !ends_.isPaused()) {
        return SocketWait::kDoNotSleep;
    }
    const int events = receivesMore() ? POLLIN : hungUpAt_.has_value() ? 0 : POLLRDHUP;
    return sender_.isBlocked() ? events | POLLOUT : events;
}

void PocoWebSocket::watchForHangUp(int events)
{
    const auto now = Clock::now();
    if ((events & POLLRDHUP) != 0 && !hungUpAt_.has_value()) {
        hungUpAt_ = now;
    }
    if ((events & (POLLERR | POLLHUP)) != 0 ||
        (hungUpAt_.has_value() && now - *hungUpAt_ >= kUndeliveredTime)) {
        throw std::runtime_error("The client hung up before its frames were requested.");
    }
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
    if (flushed.stuck) {
        wait_->wake();
    }
    if (flushed.roomAgain) {
        requestFrame();
    }
}

void PocoWebSocket::fail(const std::exception_ptr& failure, std::optional<CloseCode> code)
{
    ends_.close(code, failure);
    wait_->wake();
}

void PocoWebSocket::finish()
{
    const auto code = ends_.closeCode();
    if (code.has_value()) {
        sender_.queueClose(makeClosePayload(*code));
    }
    ClosingHandshake handshake(*channel_, sender_, receiver_, *wait_, interrupted_);
    if (handshake.sendQueued() && code.has_value()) {
        handshake.awaitClient();
    }
}

} // namespace connector::http
