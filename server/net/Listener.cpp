#include "server/net/Listener.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <exception>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <system_error>
#include <utility>

#include "server/ServerLog.h"
#include "server/net/EventLoop.h"

namespace connector::http::net {

namespace {

/// Connections that one run accepts, before other sessions get the thread.
constexpr int kAcceptsPerRun = 16;

/// At the limit, one in that many sessions makes room at a time, if it is idle.
constexpr std::size_t kIdleShare = 64;

/// Without descriptors or memory, or at the limit of connections, accepting is tried again then.
constexpr std::chrono::milliseconds kRetryInterval{20};

} // namespace

Listener::Listener(common::FileDescriptor descriptor, std::size_t maxSessions,
                   MakeSession makeSession)
    : Session(std::move(descriptor)), maxSessions_(maxSessions),
      makeSession_(std::move(makeSession))
{}

bool Listener::run(Turn& turn) noexcept
{
    if (turn.has(kStop)) {
        return false;
    }
    try {
        for (int accepted = 0; accepted < kAcceptsPerRun; ++accepted) {
            if (!hasRoom() || !acceptOne()) {
                return true;
            }
        }
        loop().raise(key(), kWoken); // there may be more
    } catch (const std::exception& failure) {
        kServerLog.write(common::Level::Warning,
                         std::string("A connection was not accepted: ") + failure.what());
        setDeadline(Clock::now() + kRetryInterval);
    }
    return true;
}

/// @return false if a connection that waits has to wait on.
bool Listener::hasRoom()
{
    if (loop().sessions() < maxSessions_) {
        return true;
    }
    pollfd waiting = {descriptor(), POLLIN, 0};
    if (::poll(&waiting, 1, 0) == 0) {
        return false; // an event tells of the next one
    }
    logReached(serverLogLimits.connections,
               "The limit of connections is reached: " + std::to_string(maxSessions_ - 1));
    makeRoom();
    return false;
}

/// @return false if there is none to accept for now.
bool Listener::acceptOne()
{
    sockaddr_storage storage = {};
    auto* const address = reinterpret_cast<sockaddr*>(&storage);
    socklen_t length = sizeof(storage);
    common::FileDescriptor accepted(
        ::accept4(this->descriptor(), address, &length, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (accepted.get() < 0) {
        if (errno == EINTR || errno == ECONNABORTED) {
            return true;
        }
        if (errno != EAGAIN && errno != EWOULDBLOCK) {
            retryWithRoom(errno);
        }
        return false;
    }
    loop().add(makeSession_(std::move(accepted), Poco::Net::SocketAddress(address, length)));
    return true;
}

/// Descriptors or memory are short: the sessions that have been idle for longest give theirs back.
void Listener::retryWithRoom(int error)
{
    logReached(serverLogLimits.shortages,
               "No connection can be accepted: " + std::generic_category().message(error));
    makeRoom();
}

void Listener::makeRoom()
{
    const auto wanted = std::clamp<std::size_t>(maxSessions_ / kIdleShare, 1, kAcceptsPerRun);
    for (std::size_t ended = 0; ended < wanted && loop().makeRoom(); ++ended) {
    }
    setDeadline(Clock::now() + kRetryInterval);
}

} // namespace connector::http::net
