#pragma once

#include <string_view>

#include "contract/common/Log.h"
#include "contract/common/LogRateLimit.h"

namespace connector::http {

/// The log channel of the servers and their requests.
inline constexpr common::Log kServerLog("connector::http::server");

/// Of the lines that a client can cause at will, one limit for each kind. They are the process', as
/// the log is.
struct ServerLogLimits
{
    common::LogRateLimit failures; ///< Of exchanges, which end with 500.
    common::LogRateLimit refusals;
    common::LogRateLimit earlyCloses;
    common::LogRateLimit socketErrors;
    common::LogRateLimit truncatedFiles;
    common::LogRateLimit brokenConnections;
    common::LogRateLimit qtWebKit; ///< Lines of standard output.

    // Limits of the server that clients have reached: a line a minute, with the count.
    common::LogRateLimit connections{1};
    common::LogRateLimit shortages{1}; ///< Of descriptors or memory.
    common::LogRateLimit slowClients{1};
    common::LogRateLimit sizes{1}; ///< Of heads and bodies.
};

inline constinit ServerLogLimits serverLogLimits;

/// Logs a limit that clients have reached.
inline void logReached(common::LogRateLimit& limit, std::string_view text)
{
    if (limit.admits(kServerLog, common::Level::Warning)) {
        kServerLog.write(common::Level::Warning, text);
    }
}

} // namespace connector::http
