#pragma once

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
    common::LogRateLimit brokenConnections;
    common::LogRateLimit qtWebKit; ///< Lines of standard output.
};

inline constinit ServerLogLimits serverLogLimits;

} // namespace connector::http
