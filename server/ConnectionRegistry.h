#pragma once

#include <Poco/AutoPtr.h>
#include <mutex>
#include <vector>

#include "server/ConnectionSocketImpl.h"

namespace connector::http {

/// The open connections of one server, so that a stop can end them all: those in a handler, in a
/// handshake, idle, and in the queue. Any thread.
class ConnectionRegistry
{
public:
    /// Remembers a connection, and forgets those that have closed since.
    void add(const Poco::AutoPtr<ConnectionSocketImpl>& connection);

    /// Aborts every connection that is open.
    void abortAll();

private:
    using Connections = std::vector<Poco::AutoPtr<ConnectionSocketImpl>>;

    std::mutex mutex_; ///< Guards all below.
    Connections connections_;
    std::size_t sweepAt_ = 128; ///< Closed connections are dropped once there are that many.
};

} // namespace connector::http
