#pragma once

#include "contract/common/Log.h"

namespace connector::http {

/// The log channel of the servers and their requests.
inline constexpr common::Log kServerLog("connector::http::server");

} // namespace connector::http
