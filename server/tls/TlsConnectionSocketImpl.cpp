#include "server/tls/TlsConnectionSocketImpl.h"

#include <Poco/Exception.h>
#include <openssl/ssl3.h>
#include <string>

#include "server/ServerLimits.h"

namespace connector::http {

TlsConnectionSocketImpl::TlsConnectionSocketImpl(poco_socket_t descriptor,
                                                 const Poco::Net::SocketAddress& peer,
                                                 const Poco::Net::Context::Ptr& context)
    : ConnectionSocketImpl(descriptor, peer), context_(context),
      session_(context->sslContext(), descriptor)
{}

TlsConnectionSocketImpl::~TlsConnectionSocketImpl()
{
    // Here, while its last words still go out encrypted.
    ConnectionSocketImpl::close();
}

int TlsConnectionSocketImpl::receiveBytes(void* buffer, int length, int)
{
    return ConnectionSocketImpl::receiveBytes(buffer, length, 0);
}

int TlsConnectionSocketImpl::sendBytes(const void* buffer, int length, int)
{
    sendAll({static_cast<const char*>(buffer), static_cast<std::size_t>(length)}, {});
    return length;
}

int TlsConnectionSocketImpl::sendBytes(const Poco::Net::SocketBufVec& buffers, int flags)
{
    int sent = 0;
    for (const auto& buffer : buffers) {
        sent += sendBytes(buffer.iov_base, static_cast<int>(buffer.iov_len), flags);
    }
    return sent;
}

int TlsConnectionSocketImpl::available()
{
    return static_cast<int>(buffered() + session_.pending());
}

void TlsConnectionSocketImpl::sendAll(std::string_view head, std::string_view body)
{
    // Head and body share the first record; the rest of the body goes out from where it is.
    constexpr std::size_t kRecord = SSL3_RT_MAX_PLAIN_LENGTH;
    if (!body.empty() && head.size() < kRecord) {
        const auto joined = body.substr(0, kRecord - head.size());
        session_.send(std::string(head).append(joined), kClientTimeout);
        body.remove_prefix(joined.size());
    } else {
        session_.send(head, kClientTimeout);
    }
    session_.send(body, kClientTimeout);
}

std::optional<std::size_t> TlsConnectionSocketImpl::receive(char* buffer, std::size_t length,
                                                            std::chrono::microseconds timeout)
{
    return session_.receive(buffer, length, timeout);
}

void TlsConnectionSocketImpl::sendAtOnce(std::string_view text) noexcept
{
    try {
        session_.sendNow(text);
    } catch (const Poco::Exception&) {
        return; // nobody is there to read it
    }
}

void TlsConnectionSocketImpl::endSending() noexcept
{
    session_.end();
}

} // namespace connector::http
