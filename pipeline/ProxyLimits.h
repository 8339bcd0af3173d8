#pragma once

#include <chrono>

namespace connector::http {

/// How much of its server a proxy may take.
struct ProxyLimits
{
    /// Requests at once, at least 1. Each blocks a thread of the server until the upstream has
    /// answered. Below the 64 threads of a server, so that an upstream that does not answer leaves
    /// threads for everything else.
    unsigned maxRequests = 48;

    /// What a refused client is told to wait. Long enough that refused clients are no load, short
    /// enough that they come back soon after the upstream does.
    std::chrono::seconds retryAfter{5};
};

} // namespace connector::http
