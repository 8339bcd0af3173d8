#pragma once

#include <sys/resource.h>

namespace connector::host {

/// Raises the limit of open descriptors to the most that the system allows: each connection needs
/// one, and the usual limit is meant for programs that use select(). A failure changes nothing.
inline void raiseDescriptorLimit() noexcept
{
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

} // namespace connector::host
