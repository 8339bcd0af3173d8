#pragma once

#include "server/tls/OpenSslPtr.h"

namespace connector::http {

/// OpenSSL's way to a socket: it neither blocks, whatever the socket's mode, nor raises SIGPIPE,
/// which OpenSSL's own raises in every thread that has not blocked it.
/// @param descriptor a connected socket, which stays open; it outlives the object.
OpenSslPtr<BIO> makeDescriptorBio(int descriptor);

} // namespace connector::http
