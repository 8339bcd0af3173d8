#pragma once

#include <Poco/Net/ServerSocket.h>
#include <functional>
#include <memory>

namespace connector::http {

/// Makes a socket that listens on @p port of every interface: IPv6 and IPv4 together, or IPv4 alone
/// where IPv6 can't be bound. No other process can share the port.
///
/// Connections that a stopped server closed first keep the port for a minute (TIME_WAIT), although
/// nobody listens there. So on POSIX a refused bind is tried once more with address reuse, which
/// there still refuses a second listener.
/// @param makeSocket makes an unbound socket; called once for each try.
/// @throws Poco::Exception when the port can't be bound or listened on.
std::unique_ptr<Poco::Net::ServerSocket>
bindListeningSocket(unsigned short port,
                    const std::function<std::unique_ptr<Poco::Net::ServerSocket>()>& makeSocket);

} // namespace connector::http
