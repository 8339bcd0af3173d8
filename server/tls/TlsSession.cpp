#include "server/tls/TlsSession.h"

#include <Poco/Exception.h>
#include <Poco/Net/NetException.h>
#include <algorithm>
#include <cerrno>
#include <new>
#include <openssl/err.h>
#include <poll.h>

#include "server/ServerLog.h"
#include "server/tls/DescriptorBio.h"
#include "server/tls/ErrorQueueScope.h"

namespace connector::http {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;

/// The options beyond those of the context. A record may be read in one piece, and one that was
/// written counts although the next one has to wait.
OpenSslPtr<SSL> makeServerSide(SSL_CTX* context, int descriptor)
{
    OpenSslPtr<SSL> ssl(SSL_new(context));
    if (ssl == nullptr) {
        throw std::bad_alloc();
    }
    auto* const bio = makeDescriptorBio(descriptor).release();
    SSL_set_bio(ssl.get(), bio, bio);
    SSL_set_read_ahead(ssl.get(), 1);
    SSL_set_mode(ssl.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    SSL_set_accept_state(ssl.get());
    return ssl;
}

} // namespace

TlsSession::TlsSession(SSL_CTX* context, int descriptor)
    : descriptor_(descriptor), ssl_(makeServerSide(context, descriptor))
{}

template <typename Operation>
TlsSession::Outcome TlsSession::attempt(Operation operation)
{
    ErrorQueueScope errors; // what other code left there would be taken for this call's failure
    {
        const std::lock_guard lock(mutex_);
        if (ssl_ == nullptr || broken_) {
            return Outcome::Broken;
        }
        const auto result = operation(ssl_.get());
        switch (SSL_get_error(ssl_.get(), result)) {
        case SSL_ERROR_NONE:
            return Outcome::Done;
        case SSL_ERROR_WANT_READ:
            return Outcome::WantsInput;
        case SSL_ERROR_WANT_WRITE:
            return Outcome::WantsOutput;
        case SSL_ERROR_ZERO_RETURN:
            return Outcome::Finished;
        case SSL_ERROR_SYSCALL: // the client went away, as many do without a word
            broken_ = true;
            return Outcome::Broken;
        default:
            broken_ = true;
        }
    }
    if (kServerLog.enabled(common::Level::Debug)) {
        kServerLog.write(common::Level::Debug,
                         "Encrypted connection broken: " + errors.takeReason());
    }
    return Outcome::Broken;
}

TlsSession::Outcome TlsSession::tryReceive(char* buffer, std::size_t length, std::size_t& received)
{
    return attempt([&](SSL* ssl) { return SSL_read_ex(ssl, buffer, length, &received); });
}

TlsSession::Outcome TlsSession::trySend(std::string_view bytes, std::size_t& sent)
{
    const auto outcome =
        attempt([&](SSL* ssl) { return SSL_write_ex(ssl, bytes.data(), bytes.size(), &sent); });
    if (outcome == Outcome::Finished || outcome == Outcome::Broken) {
        throw Poco::Net::NetException("The encrypted connection is broken");
    }
    return outcome;
}

std::optional<std::size_t> TlsSession::receive(char* buffer, std::size_t length,
                                               microseconds timeout)
{
    const auto deadline = Clock::now() + timeout;
    std::size_t received = 0;
    // Between two requests there is nothing to read yet: trying first would cost a system call.
    auto outcome = holdsInput() ? Outcome::Done : Outcome::WantsInput;
    do {
        if (outcome != Outcome::Done && !waitFor(outcome, deadline)) {
            return std::nullopt;
        }
        outcome = tryReceive(buffer, length, received);
    } while (outcome == Outcome::WantsInput || outcome == Outcome::WantsOutput);
    return received;
}

void TlsSession::send(std::string_view bytes, microseconds timeout)
{
    auto deadline = Clock::now() + timeout;
    while (!bytes.empty()) {
        std::size_t sent = 0;
        const auto outcome = trySend(bytes, sent);
        if (outcome == Outcome::Done) {
            bytes.remove_prefix(sent);
            deadline = Clock::now() + timeout;
        } else if (!waitFor(outcome, deadline)) {
            throw Poco::TimeoutException("The client takes no data.");
        }
    }
}

std::optional<std::size_t> TlsSession::receiveNow(char* buffer, std::size_t length)
{
    std::size_t received = 0;
    const auto outcome = tryReceive(buffer, length, received);
    if (outcome == Outcome::WantsInput || outcome == Outcome::WantsOutput) {
        return std::nullopt;
    }
    return received;
}

std::size_t TlsSession::sendNow(std::string_view bytes)
{
    std::size_t sent = 0;
    trySend(bytes, sent);
    return sent;
}

std::size_t TlsSession::pending()
{
    const std::lock_guard lock(mutex_);
    return ssl_ == nullptr ? 0 : static_cast<std::size_t>(SSL_pending(ssl_.get()));
}

void TlsSession::end() noexcept
{
    OpenSslPtr<SSL> ended; // released outside the lock
    const std::lock_guard lock(mutex_);
    if (ssl_ != nullptr && !broken_ && SSL_is_init_finished(ssl_.get()) == 1) {
        SSL_shutdown(ssl_.get());
        ERR_clear_error();
    }
    ended = std::move(ssl_);
}

bool TlsSession::holdsInput()
{
    const std::lock_guard lock(mutex_);
    return ssl_ == nullptr || SSL_has_pending(ssl_.get()) == 1;
}

bool TlsSession::waitFor(Outcome wanted, Clock::time_point deadline) const
{
    pollfd watched = {descriptor_,
                      static_cast<short>(wanted == Outcome::WantsInput ? POLLIN : POLLOUT), 0};
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        const auto ready = ::poll(&watched, 1, static_cast<int>(std::max<long>(left.count(), 0)));
        if (ready >= 0 || errno != EINTR) {
            return ready > 0;
        }
    }
}

} // namespace connector::http
