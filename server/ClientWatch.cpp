#include "server/ClientWatch.h"

#include <cerrno>
#include <poll.h>
#include <sys/ioctl.h>

namespace connector::http {

bool peerDisconnected(int descriptor, bool encrypted)
{
    pollfd watched = {descriptor, POLLIN | POLLOUT | POLLRDHUP, 0};
    if (::poll(&watched, 1, 0) < 0) {
        return errno != EINTR;
    }
    const auto has = [&watched](int events) { return (watched.revents & events) != 0; };
    if (has(POLLERR | POLLHUP | POLLNVAL) || !has(POLLOUT)) {
        return true;
    }
    if (encrypted && has(POLLRDHUP)) {
        return true;
    }
    int waiting = 0;
    return has(POLLIN) && (::ioctl(descriptor, FIONREAD, &waiting) != 0 || waiting == 0);
}

bool clientHasClosed(int descriptor)
{
    pollfd watched = {descriptor, POLLRDHUP, 0};
    return ::poll(&watched, 1, 0) > 0;
}

} // namespace connector::http
