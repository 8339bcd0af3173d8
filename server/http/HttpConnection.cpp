#include "server/http/HttpConnection.h"

#include <Poco/Net/HTTPRequestHandler.h>
#include <algorithm>
#include <sys/socket.h>
#include <utility>

#include "server/ClientWatch.h"
#include "server/RequestParts.h"
#include "server/RequestRefusal.h"
#include "server/ServerLog.h"
#include "server/http/HttpService.h"
#include "server/net/EventLoop.h"
#include "server/websocket/PocoWebSocket.h"

namespace connector::http {

namespace {

using common::Level;
using net::Clock;
using net::IoStatus;

/// A client that always has more to handle lets others have the thread after so many steps.
constexpr int kStepsPerRun = 64;

/// A part of a body that is longer is received where it is to stay.
constexpr std::size_t kInPlace = 16'384;

constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";

} // namespace

HttpConnection::HttpConnection(common::FileDescriptor descriptor,
                               const Poco::Net::SocketAddress& peer,
                               std::unique_ptr<net::Transport> transport, HttpService& service)
    : Session(std::move(descriptor)), service_(service), transport_(std::move(transport)),
      peer_(peer), local_(isLocalAddress(peer.host())),
      state_(transport_->isSecure() ? State::Handshaking : State::Idle), input_(*transport_),
      scanner_(service.limits.request), served_(*this, *service.parameters)
{}

HttpConnection::~HttpConnection()
{
    if (webSocket_ != nullptr) {
        webSocket_->endOutput(); // its publisher may still write
    }
}

const Poco::Net::SocketAddress& HttpConnection::localAddress()
{
    if (!address_.has_value()) {
        sockaddr_storage storage = {};
        auto* const address = reinterpret_cast<sockaddr*>(&storage);
        socklen_t length = sizeof(storage);
        ::getsockname(descriptor(), address, &length);
        address_.emplace(address, length);
    }
    return *address_;
}

net::Handle HttpConnection::handle() const
{
    return {loop().shared_from_this(), key()};
}

bool HttpConnection::run(net::Turn& turn) noexcept
{
    turn_ = &turn;
    input_.note(turn);
    try {
        if (turn.has(net::kStop)) {
            stop();
        }
        if (turn.has(net::kMakeRoom) && state_ == State::Idle) {
            close();
        }
        if (turn.has(net::kDeadline) && Clock::now() >= deadline_) {
            timeOut();
        }
        int steps = 0;
        while (state_ != State::Ended && step()) {
            if (++steps == kStepsPerRun) {
                goOnLater();
                break;
            }
        }
        input_.keep();
    } catch (const std::exception& failure) {
        if (serverLogLimits.brokenConnections.admits(kServerLog, Level::Info)) {
            kServerLog.write(Level::Info, "Connection ended: ", failure.what());
        }
        enter(State::Ended);
    } catch (...) {
        enter(State::Ended);
    }
    turn_ = nullptr;
    return state_ != State::Ended;
}

/// Goes on after the other connections.
void HttpConnection::goOnLater() noexcept
{
    loop().raise(key(), net::kWoken);
}

/// @return whether there may be more to do at once.
bool HttpConnection::step()
{
    switch (state_) {
    case State::Handshaking:
        return stepHandshake();
    case State::Idle:
    case State::ReceivingHead:
        return stepHead();
    case State::ReceivingBody:
        return stepBody();
    case State::Handling:
        return stepHandling();
    case State::Sending:
        return stepSending();
    case State::Lingering:
        return stepLingering();
    case State::Upgraded:
        return stepUpgraded();
    case State::Ended:
        break;
    }
    return false;
}

bool HttpConnection::stepHandshake()
{
    switch (transport_->handshake()) {
    case IoStatus::Done:
        enter(State::Idle);
        return true;
    case IoStatus::WouldBlock:
        if (deadline_ == Clock::time_point::max()) {
            arm(Clock::now() + service_.limits.handshakeTimeout);
        }
        return false;
    default:
        enter(State::Ended);
        return false;
    }
}

bool HttpConnection::stepHead()
{
    try {
        const auto received = input_.view();
        if (const auto head = scanner_.scan(received)) {
            input_.consume(static_cast<std::size_t>(head->data() - received.data()) + head->size());
            beginRequest(*head);
            return true;
        }
        if (input_.hasEnded() && scanner_.hasHead()) {
            throw RequestRefusal(400, "The request's head is truncated.");
        }
    } catch (const RequestRefusal& refusal) {
        refuse(refusal);
        return true;
    }
    if (input_.hasEnded()) {
        close();
    } else if (input_.receive(turn_->scratch)) {
        if (state_ == State::Idle) {
            enter(State::ReceivingHead);
        }
    } else {
        if (state_ == State::Idle && !input_.view().empty()) { // came with the request before
            enter(State::ReceivingHead);
        }
        armForHead();
        return false;
    }
    return true;
}

void HttpConnection::armForHead() noexcept
{
    const auto& limits = service_.limits;
    const auto now = Clock::now();
    if (state_ == State::Idle) {
        setIdleSince(now);
        arm(now + (first_ ? limits.firstByteTimeout : limits.keepAliveTimeout));
        return;
    }
    if (headBegan_ == Clock::time_point()) {
        headBegan_ = now;
    }
    arm(std::min(headBegan_ + limits.headTimeout, now + limits.silenceTimeout));
}

void HttpConnection::beginRequest(std::string_view head)
{
    scanner_ = HeadScanner(service_.limits.request);
    headBegan_ = {};
    first_ = false;
    head_.emplace().assign(head, service_.limits.request);
    const std::unique_ptr<Poco::Net::HTTPRequestHandler> handler(
        service_.handlers->createRequestHandler(served_));
    handler->handleRequest(served_, served_.response());
    if (!exchange_.has_value()) {
        close();
    } else if (exchange_->phase() == RequestExchange::Phase::AwaitsBody) {
        beginBody();
    } else {
        enter(State::Handling);
    }
}

void HttpConnection::beginBody()
{
    body_.emplace(head_->framing(), service_.limits.request, service_.limits.bodyMemory);
    received_ = 0;
    pace_.reset();
    enter(State::ReceivingBody);
    if (head_->awaitsContinue() && !body_->isComplete()) {
        const iovec part = {const_cast<char*>(kContinue.data()), kContinue.size()};
        const auto sent = transport_->send({&part, 1}).bytes;
        if (sent != 0 && sent != kContinue.size()) { // without it the client waits a little longer
            exchange_->sendingFailed();
            enter(State::Ended);
        }
    }
}

bool HttpConnection::stepBody()
{
    try {
        const auto taken = body_->take(input_.view());
        input_.consume(taken);
        received_ += taken;
        if (body_->isComplete()) {
            exchange_->dispatch(body_->release());
            body_.reset();
            enter(State::Handling);
            return true;
        }
        if (input_.hasEnded()) {
            throw RequestRefusal(400, "The request body is truncated.");
        }
        if (receiveBody()) {
            return true;
        }
    } catch (const RequestRefusal& refusal) {
        refuseBody(refusal);
        return true;
    } catch (const common::MemoryBudgetExceeded& excess) {
        refuseBody(RequestRefusal(503, excess.what()));
        return true;
    }
    arm(pace_.deadline(service_.limits, received_));
    return false;
}

/// Receives what is still to come of the body; long parts where they are to stay, but for the
/// first: a body that was only announced takes no memory.
bool HttpConnection::receiveBody()
{
    if (body_->isEmpty() || body_->dataLeft() < kInPlace) {
        return input_.receive(turn_->scratch);
    }
    std::size_t count = 0;
    const auto arrived = input_.receiveInto(body_->prepare(), count);
    body_->commit(count);
    received_ += count;
    return arrived;
}

void HttpConnection::refuseBody(const RequestRefusal& refusal)
{
    refused_ = true;
    exchange_->refuse(refusal);
    body_.reset();
    enter(State::Handling);
}

bool HttpConnection::stepHandling()
{
    using Phase = RequestExchange::Phase;
    if (turn_->has(net::kWoken)) {
        turn_->events &= static_cast<net::Events>(~net::kWoken);
        exchange_->proceed();
    }
    switch (exchange_->phase()) {
    case Phase::AwaitsReply:
        if (input_.isBroken()) {
            exchange_->abandon();
            return true;
        }
        return false;
    case Phase::AwaitsReplyBody:
        if (input_.isHungUp() && peerDisconnected(descriptor(), isSecure())) {
            exchange_->abandon();
            return true;
        }
        return false;
    case Phase::Answered:
        beginAnswer(exchange_->takeAnswer(), exchange_->keepsAlive());
        return true;
    case Phase::Upgraded:
        beginUpgrade();
        return true;
    case Phase::Unanswered:
        close();
        return true;
    default:
        return false;
    }
}

void HttpConnection::beginAnswer(OutgoingAnswer&& answer, bool keepsAlive)
{
    output_.emplace(std::move(answer));
    closing_ = !keepsAlive;
    pace_.reset();
    enter(State::Sending);
}

bool HttpConnection::stepSending()
{
    using Progress = OutgoingAnswer::Progress;
    input_.keep(); // a file may be read into the scratch memory
    switch (output_->send(*transport_, turn_->scratch)) {
    case Progress::Done:
        finishRequest();
        return true;
    case Progress::WouldBlock:
        arm(pace_.deadline(service_.limits, output_->sent()));
        return false;
    case Progress::Paused:
        arm(pace_.deadline(service_.limits, output_->sent()));
        goOnLater();
        return false;
    case Progress::Truncated:
        exchange_->fileTruncated();
        enter(State::Ended);
        return false;
    default:
        exchange_->sendingFailed();
        enter(State::Ended);
        return false;
    }
}

void HttpConnection::finishRequest()
{
    if (webSocket_ != nullptr) {
        finishUpgrade();
        return;
    }
    exchange_.reset();
    head_.reset();
    output_.reset();
    if (closing_) {
        close();
    } else {
        enter(State::Idle);
    }
}

void HttpConnection::enter(State state) noexcept
{
    if (state_ == State::Idle) {
        setIdleSince(Clock::time_point::max());
    }
    state_ = state;
    deadline_ = Clock::time_point::max();
}

void HttpConnection::arm(Clock::time_point deadline) noexcept
{
    deadline_ = deadline;
    setDeadline(deadline);
}

} // namespace connector::http
