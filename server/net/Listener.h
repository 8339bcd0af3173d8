#pragma once

#include <Poco/Net/SocketAddress.h>
#include <cstddef>
#include <functional>
#include <memory>

#include "server/net/Session.h"

namespace connector::http::net {

/// Accepts the connections of a listening socket and adds them to its loop.
class Listener final : public Session
{
public:
    /// Makes the session of an accepted connection.
    using MakeSession = std::function<std::unique_ptr<Session>(
        common::FileDescriptor descriptor, const Poco::Net::SocketAddress& peer)>;

    /// @param descriptor a listening socket that does not block.
    /// @param maxSessions of the loop, this one included. At that limit the sessions that have been
    ///        idle for longest make room; if none is idle, new connections wait in the backlog.
    Listener(common::FileDescriptor descriptor, std::size_t maxSessions, MakeSession makeSession);

    bool run(Turn& turn) noexcept override;

private:
    bool hasRoom();
    bool acceptOne();
    void retryWithRoom(int error);
    void makeRoom();

    const std::size_t maxSessions_;
    const MakeSession makeSession_;
};

} // namespace connector::http::net
