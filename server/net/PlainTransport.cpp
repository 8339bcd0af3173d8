#include <cerrno>
#include <stdexcept>
#include <sys/sendfile.h>
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

/// Runs a system call of the socket, again when a signal interrupts it.
template <typename Call>
IoResult repeat(Call call)
{
    ssize_t count = 0;
    do {
        count = call();
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        return failureOf(errno);
    }
    return {IoStatus::Done, static_cast<std::size_t>(count)};
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

    IoResult send(std::span<const iovec> parts, bool more) override
    {
        msghdr message = {};
        message.msg_iov = const_cast<iovec*>(parts.data());
        message.msg_iovlen = parts.size();
        const auto flags = MSG_DONTWAIT | MSG_NOSIGNAL | (more ? MSG_MORE : 0);
        return repeat([&] { return ::sendmsg(descriptor(), &message, flags); });
    }

    bool sendsFiles() const noexcept override { return true; }

    IoResult sendFile(int file, std::uint64_t offset, std::size_t count) override
    {
        auto from = static_cast<off_t>(offset);
        return repeat([&] { return ::sendfile(descriptor(), file, &from, count); });
    }

    void endOutput() noexcept override { ::shutdown(descriptor(), SHUT_WR); }

    bool isSecure() const noexcept override { return false; }
};

} // namespace

IoResult Transport::discard(std::span<char> space) noexcept
{
    auto result =
        repeat([&] { return ::recv(descriptor_, space.data(), space.size(), MSG_DONTWAIT); });
    if (result.status == IoStatus::Done && result.bytes == 0) {
        result.status = IoStatus::Ended;
    }
    return result;
}

IoResult Transport::sendFile(int /*file*/, std::uint64_t /*offset*/, std::size_t /*count*/)
{
    throw std::logic_error("This transport sends no files.");
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
