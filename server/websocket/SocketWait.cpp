#include "server/websocket/SocketWait.h"

#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace connector::http::websocket {

SocketWait::SocketWait(int socket)
    : socket_(socket), news_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (news_ < 0) {
        throw std::system_error(errno, std::generic_category());
    }
}

SocketWait::~SocketWait()
{
    ::close(news_);
}

int SocketWait::wait(const std::function<int()>& events, std::chrono::milliseconds timeout)
{
    sleeping_ = true;
    const auto awaited = events();
    if (awaited == kDoNotSleep) {
        sleeping_ = false;
        return 0;
    }
    pollfd watched[2] = {{socket_, static_cast<short>(awaited), 0}, {news_, POLLIN, 0}};
    const auto ready = ::poll(watched, 2, static_cast<int>(timeout.count()));
    sleeping_ = false;
    if (ready <= 0) {
        return 0;
    }
    if (watched[1].revents != 0) {
        std::uint64_t count = 0;
        [[maybe_unused]] const auto taken = ::read(news_, &count, sizeof(count));
    }
    return watched[0].revents;
}

void SocketWait::wake() noexcept
{
    if (sleeping_ && sleeping_.exchange(false)) { // mostly it is not: the load alone is cheaper
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto given = ::write(news_, &one, sizeof(one));
    }
}

} // namespace connector::http::websocket
