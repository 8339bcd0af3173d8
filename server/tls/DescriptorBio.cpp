#include "server/tls/DescriptorBio.h"

#include <cerrno>
#include <cstdint>
#include <new>
#include <sys/socket.h>

namespace connector::http {

namespace {

int descriptorOf(BIO* bio)
{
    return static_cast<int>(reinterpret_cast<std::intptr_t>(BIO_get_data(bio)));
}

bool mayRetry(ssize_t result)
{
    return result < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
}

int writeTo(BIO* bio, const char* data, int length)
{
    BIO_clear_retry_flags(bio);
    const auto sent = ::send(descriptorOf(bio), data, static_cast<std::size_t>(length),
                             MSG_NOSIGNAL | MSG_DONTWAIT);
    if (mayRetry(sent)) {
        BIO_set_retry_write(bio);
    }
    return static_cast<int>(sent);
}

int readFrom(BIO* bio, char* data, int length)
{
    BIO_clear_retry_flags(bio);
    const auto received =
        ::recv(descriptorOf(bio), data, static_cast<std::size_t>(length), MSG_DONTWAIT);
    if (mayRetry(received)) {
        BIO_set_retry_read(bio);
    }
    return static_cast<int>(received);
}

long control(BIO*, int command, long, void*)
{
    return command == BIO_CTRL_FLUSH ? 1 : 0; // there is no buffer to flush
}

OpenSslPtr<BIO_METHOD> makeMethod()
{
    OpenSslPtr<BIO_METHOD> method(
        BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "descriptor"));
    if (method == nullptr || BIO_meth_set_write(method.get(), writeTo) != 1 ||
        BIO_meth_set_read(method.get(), readFrom) != 1 ||
        BIO_meth_set_ctrl(method.get(), control) != 1) {
        throw std::bad_alloc();
    }
    return method;
}

} // namespace

OpenSslPtr<BIO> makeDescriptorBio(int descriptor)
{
    static const auto method = makeMethod();
    OpenSslPtr<BIO> bio(BIO_new(method.get()));
    if (bio == nullptr) {
        throw std::bad_alloc();
    }
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the one place that OpenSSL has for it
    BIO_set_data(bio.get(), reinterpret_cast<void*>(static_cast<std::intptr_t>(descriptor)));
    BIO_set_init(bio.get(), 1);
    return bio;
}

} // namespace connector::http
