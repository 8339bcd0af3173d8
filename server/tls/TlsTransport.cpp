#include "server/tls/TlsTransport.h"

#include <algorithm>
#include <new>
#include <openssl/err.h>
#include <sys/socket.h>

#include "server/ServerLog.h"
#include "server/tls/ErrorQueueScope.h"

namespace connector::http {

namespace {

using net::IoResult;
using net::IoStatus;

/// The options beyond those of the context: a read may take several records from the socket at a
/// time, a write that sent some records succeeds, and idle sessions release their buffers.
OpenSslPtr<SSL> makeServerSide(SSL_CTX* context, int descriptor)
{
    OpenSslPtr<SSL> ssl(SSL_new(context));
    if (ssl == nullptr) {
        throw std::bad_alloc();
    }
    auto* const bio = makeDescriptorBio(descriptor).release();
    SSL_set_bio(ssl.get(), bio, bio);
    SSL_set_read_ahead(ssl.get(), 1);
    SSL_set_mode(ssl.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER |
                                SSL_MODE_RELEASE_BUFFERS);
    SSL_set_accept_state(ssl.get());
    return ssl;
}

/// The bytes of the parts from @p offset on, as many as a record holds. Copied only where they
/// come from more than one part.
std::string_view gather(std::span<const iovec> parts, std::size_t offset, std::span<char> record)
{
    std::size_t gathered = 0;
    for (const auto& part : parts) {
        const auto skipped = std::min(offset, part.iov_len);
        offset -= skipped;
        const std::string_view rest(static_cast<const char*>(part.iov_base) + skipped,
                                    part.iov_len - skipped);
        if (gathered == 0 && rest.size() >= record.size()) {
            return rest.substr(0, record.size());
        }
        gathered += rest.copy(record.data() + gathered, record.size() - gathered);
    }
    return {record.data(), gathered};
}

} // namespace

TlsTransport::TlsTransport(SSL_CTX* context, int descriptor)
    : Transport(descriptor), ssl_(makeServerSide(context, descriptor))
{}

template <typename Operation>
IoResult TlsTransport::attempt(Operation operation)
{
    ErrorQueueScope errors; // errors of other code would be taken for this call's
    {
        const std::lock_guard lock(mutex_);
        if (ssl_ == nullptr || broken_) {
            return {IoStatus::Failed};
        }
        const auto result = operation(ssl_.get());
        switch (SSL_get_error(ssl_.get(), result)) {
        case SSL_ERROR_NONE:
            return {IoStatus::Done};
        case SSL_ERROR_WANT_READ:
        case SSL_ERROR_WANT_WRITE:
            return {IoStatus::WouldBlock};
        case SSL_ERROR_ZERO_RETURN:
            return {IoStatus::Ended};
        case SSL_ERROR_SYSCALL: // many clients close without a close_notify
            broken_ = true;
            return {IoStatus::Ended};
        default:
            broken_ = true;
        }
    }
    if (kServerLog.enabled(common::Level::Debug)) {
        kServerLog.write(common::Level::Debug,
                         "Encrypted connection broken: " + errors.takeReason());
    }
    return {IoStatus::Failed};
}

IoStatus TlsTransport::handshake()
{
    return attempt([](SSL* ssl) { return SSL_do_handshake(ssl); }).status;
}

IoResult TlsTransport::receive(std::span<char> space)
{
    std::size_t received = 0;
    auto result =
        attempt([&](SSL* ssl) { return SSL_read_ex(ssl, space.data(), space.size(), &received); });
    result.bytes = received;
    return result;
}

bool TlsTransport::mayHoldInput(const IoResult& last, std::size_t /*asked*/)
{
    // OpenSSL may hold input, or the socket may: only WouldBlock tells that neither does.
    return last.status == IoStatus::Done;
}

IoResult TlsTransport::send(std::span<const iovec> parts, bool /*more*/)
{
    Record record;
    IoResult total;
    for (;;) {
        const auto bytes = gather(parts, total.bytes, record);
        if (bytes.empty()) {
            return total;
        }
        const auto result = sendRecord(bytes);
        total.bytes += result.bytes;
        if (result.status != IoStatus::Done) {
            total.status = result.status == IoStatus::Ended ? IoStatus::Failed : result.status;
            return total;
        }
    }
}

IoResult TlsTransport::sendRecord(std::string_view bytes)
{
    std::size_t sent = 0;
    auto result =
        attempt([&](SSL* ssl) { return SSL_write_ex(ssl, bytes.data(), bytes.size(), &sent); });
    result.bytes = sent;
    return result;
}

void TlsTransport::endOutput() noexcept
{
    OpenSslPtr<SSL> ended; // released without the lock
    {
        const std::lock_guard lock(mutex_);
        if (ssl_ != nullptr && !broken_ && SSL_is_init_finished(ssl_.get()) == 1) {
            SSL_shutdown(ssl_.get());
            ERR_clear_error();
        }
        ended = std::move(ssl_);
    }
    ::shutdown(this->descriptor(), SHUT_WR);
}

} // namespace connector::http
