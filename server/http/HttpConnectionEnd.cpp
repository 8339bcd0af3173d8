#include <sys/socket.h>

#include "server/RequestRefusal.h"
#include "server/ServerLog.h"
#include "server/http/HttpConnection.h"
#include "server/http/HttpService.h"

/// How a connection ends: by its limits, by a refusal, by the server's stop.
namespace connector::http {

using common::Level;
using net::Clock;
using net::IoStatus;

bool HttpConnection::stepLingering()
{
    while (lingered_ < kLingerBytes) {
        const auto result = transport_->discard(turn_->scratch);
        if (result.status == IoStatus::WouldBlock) {
            return false;
        }
        if (result.status != IoStatus::Done) {
            break;
        }
        lingered_ += result.bytes;
    }
    enter(State::Ended);
    return false;
}

void HttpConnection::stop()
{
    if (state_ == State::Upgraded) {
        return;
    }
    if (exchange_.has_value()) {
        exchange_->abandon();
    }
    abort();
}

void HttpConnection::timeOut()
{
    if (state_ != State::Idle && state_ != State::Lingering && state_ != State::Upgraded) {
        logReached(serverLogLimits.slowClients, "A client was too slow and is cut off.");
    }
    switch (state_) {
    case State::ReceivingHead:
        if (scanner_.hasHead()) {
            refuse(RequestRefusal(408, "The request's head did not arrive in time."));
        } else {
            close();
        }
        break;
    case State::ReceivingBody:
        refuseBody(RequestRefusal(408, "The request body did not arrive in time."));
        break;
    case State::Sending:
        exchange_->sendingFailed();
        abort();
        break;
    case State::Idle:
        close();
        break;
    case State::Handshaking:
    case State::Lingering:
        enter(State::Ended);
        break;
    default:
        break;
    }
}

/// Answers what is no request, and closes.
void HttpConnection::refuse(const RequestRefusal& refusal)
{
    logLimitOf(refusal);
    if (serverLogLimits.refusals.admits(kServerLog, Level::Info)) {
        kServerLog.write(Level::Info, refusal.what());
    }
    const RefusalAnswer answer(refusal);
    const iovec part = {const_cast<char*>(answer.text().data()), answer.text().size()};
    transport_->send({&part, 1});
    refused_ = true;
    close();
}

/// Ends the connection. A client that still sends gets a moment to read its answer, before the
/// reset that unread input causes (RFC 9112 section 9.6).
void HttpConnection::close()
{
    const auto lingers = (refused_ && !input_.hasEnded()) || input_.hasUnread(descriptor());
    if (lingers || isSecure()) {
        transport_->endOutput();
    }
    enter(lingers ? State::Lingering : State::Ended);
    if (lingers) {
        input_.consume(input_.view().size());
        arm(Clock::now() + service_.limits.lingerTime);
    }
}

void HttpConnection::abort() noexcept
{
    const linger reset = {1, 0};
    ::setsockopt(descriptor(), SOL_SOCKET, SO_LINGER, &reset, sizeof(reset));
    enter(State::Ended);
}

} // namespace connector::http
