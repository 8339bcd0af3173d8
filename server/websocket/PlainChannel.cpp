#include <cerrno>
#include <sys/socket.h>
#include <sys/time.h>
#include <system_error>

#include "server/websocket/SocketChannel.h"

namespace connector::http::websocket {

namespace {

constexpr suseconds_t kAwaitMicroseconds = 10'000;

bool isTransient(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

[[noreturn]] void throwLast()
{
    throw std::system_error(errno, std::generic_category());
}

class PlainChannel final : public SocketChannel
{
public:
    explicit PlainChannel(int descriptor) : SocketChannel(descriptor)
    {
        const timeval wait = {0, kAwaitMicroseconds};
        ::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof(wait));
    }

    std::optional<std::size_t> read(std::span<char> space) override
    {
        return receive(space, MSG_DONTWAIT);
    }

    std::optional<std::size_t> await(std::span<char> space) override { return receive(space, 0); }

    bool hasHiddenInput() override { return false; }

    std::size_t write(std::span<const iovec> parts) override
    {
        msghdr message = {};
        message.msg_iov = const_cast<iovec*>(parts.data());
        message.msg_iovlen = parts.size();
        const auto count = ::sendmsg(descriptor(), &message, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0) {
            if (isTransient(errno)) {
                return 0;
            }
            throwLast();
        }
        return static_cast<std::size_t>(count);
    }

    void endOutput() noexcept override { ::shutdown(descriptor(), SHUT_WR); }

    void shutDown() noexcept override { ::shutdown(descriptor(), SHUT_RDWR); }

private:
    std::optional<std::size_t> receive(std::span<char> space, int flags) const
    {
        const auto count = ::recv(descriptor(), space.data(), space.size(), flags);
        if (count < 0) {
            if (isTransient(errno)) {
                return std::nullopt;
            }
            throwLast();
        }
        return static_cast<std::size_t>(count);
    }
};

} // namespace

std::unique_ptr<SocketChannel> makePlainChannel(int descriptor)
{
    return std::make_unique<PlainChannel>(descriptor);
}

} // namespace connector::http::websocket
