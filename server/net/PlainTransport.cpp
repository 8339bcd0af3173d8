#include <cerrno>
#include <sys/socket.h>
#include <system_error>

#include "server/net/Transport.h"

namespace connector::http::net {

namespace {

IoResult failureOf(int error)
{
    const auto wouldBlock = error == EAGAIN || error == EWOULDBLOCK;
    return {wouldBlock ? IoStatus::WouldBlock : IoStatus::Failed, 0, error};
}

class PlainTransport final : public Transport
{
public:
    explicit PlainTransport(int descriptor) : Transport(descriptor) {}

    IoStatus handshake() override { return IoStatus::Done; }

    IoResult receive(std::span<char> space) override { return discard(space); }

    bool mayHoldInput(const IoResult& last, std::size_t asked) override
    {
        return last.status == IoStatus::Done && last.bytes == asked;
    }

    IoResult send(std::span<const iovec> parts) override
    {
        msghdr message = {};
        message.msg_iov = const_cast<iovec*>(parts.data());
        message.msg_iovlen = parts.size();
        ssize_t count = 0;
        do {
            count = ::sendmsg(descriptor(), &message, MSG_DONTWAIT | MSG_NOSIGNAL);
        } while (count < 0 && errno == EINTR);
        if (count < 0) {
            return failureOf(errno);
        }
        return {IoStatus::Done, static_cast<std::size_t>(count)};
    }

    void endOutput() noexcept override { ::shutdown(descriptor(), SHUT_WR); }

    bool isSecure() const noexcept override { return false; }
};

} // namespace

IoResult Transport::discard(std::span<char> space) noexcept
{
    ssize_t count = 0;
    do {
        count = ::recv(descriptor_, space.data(), space.size(), MSG_DONTWAIT);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        return failureOf(errno);
    }
    return {count == 0 ? IoStatus::Ended : IoStatus::Done, static_cast<std::size_t>(count)};
}

std::string describe(const IoResult& failure)
{
    return failure.error != 0 ? std::generic_category().message(failure.error)
                              : "The encrypted connection is broken";
}

std::unique_ptr<Transport> makePlainTransport(int descriptor)
{
    return std::make_unique<PlainTransport>(descriptor);
}

} // namespace connector::http::net
