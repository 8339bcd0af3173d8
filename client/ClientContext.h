#pragma once

#include <Poco/Net/Context.h>

namespace connector::http::client {

/// What secure connections to upstream servers share: no certificate of our own, any certificate of
/// theirs accepted. Made by the first that asks, which takes some milliseconds; any thread.
/// @throws Poco::Net::SSLException when the library can't make it; the next to ask tries again.
Poco::Net::Context::Ptr clientContext();

} // namespace connector::http::client
