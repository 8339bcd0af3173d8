#pragma once

#include "contract/common/Log.h"

namespace connector::http::client {

/// The log channel of outgoing HTTP.
inline constexpr common::Log kClientLog("connector::http::client");

} // namespace connector::http::client
