#pragma once

namespace connector::http {

/// Whether the client at the other end of @p descriptor has closed or lost the connection: the
/// socket has an error, takes no more data, or is at its end. Input that waits is left alone, so it
/// serves encrypted connections as well. Does not block.
bool clientIsGone(int descriptor);

} // namespace connector::http
