#include "server/ConnectionRegistry.h"

#include <algorithm>

namespace connector::http {

void ConnectionRegistry::add(const Poco::AutoPtr<ConnectionSocketImpl>& connection)
{
    Connections closed; // released outside the lock
    const std::lock_guard lock(mutex_);
    connections_.push_back(connection);
    if (connections_.size() >= sweepAt_) {
        const auto firstClosed = std::partition(connections_.begin(), connections_.end(),
                                                [](const auto& open) { return !open->isClosed(); });
        closed.assign(firstClosed, connections_.end());
        connections_.erase(firstClosed, connections_.end());
        sweepAt_ = std::max<std::size_t>(128, 2 * connections_.size());
    }
}

void ConnectionRegistry::abortAll()
{
    Connections open;
    {
        const std::lock_guard lock(mutex_);
        open = connections_;
    }
    for (auto& connection : open) {
        connection->abort();
    }
}

} // namespace connector::http
