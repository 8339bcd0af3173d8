#pragma once

#include "contract/streams/DataBuffer.h"

namespace connector::http {

class ConnectionSocketImpl;

/// Reads the body of the request that @p connection is at: the first and only reader of it. Blocks
/// until the body is there.
/// @throws RequestRefusal with status 400 for a body that is truncated or malformed, with 408 for a
///         body that stops arriving, with 413 for one that is too large.
common::DataBuffer readRequestBody(ConnectionSocketImpl& connection);

} // namespace connector::http
