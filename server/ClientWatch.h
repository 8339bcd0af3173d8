#pragma once

namespace connector::http {

/// Whether the client at the other end of @p descriptor has closed or lost the connection: the
/// socket has an error, takes no more data, or is at its end. Input that waits is left alone. Does
/// not block.
/// @param encrypted for TLS, unread input may be a close_notify: the end of the input counts.
bool peerDisconnected(int descriptor, bool encrypted);

/// Whether the client has closed its side of the connection or lost it. It may still take an answer
/// then. Does not block.
bool clientHasClosed(int descriptor);

} // namespace connector::http
