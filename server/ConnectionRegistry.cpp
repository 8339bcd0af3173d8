#include "server/ConnectionRegistry.h"

#include <algorithm>

namespace connector::http {

void ConnectionRegistry::add(const Poco::AutoPtr<ConnectionSocketImpl>& connection)
{
    Connections closed; // released outside the lock
    const std::lock_guard lock(mutex_);
    connections_.push_back(connection);
    if (connections_.size() >= sweepAt_) {
        const auto firstClosed = std::ranges::partition(
            connections_, [](const auto& open) { return !open->isClosed(); });
        closed.assign(firstClosed.begin(), firstClosed.end());
        connections_.erase(firstClosed.begin(), firstClosed.end());
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
