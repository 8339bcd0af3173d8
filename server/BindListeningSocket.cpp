#include "server/BindListeningSocket.h"

#include <Poco/Net/NetException.h>
#include <Poco/Net/SocketAddress.h>
#include <string>
#if !defined(_WIN32)
#include <netinet/tcp.h>
#endif

#include "server/ServerLimits.h"
#include "server/ServerLog.h"

namespace connector::http {

namespace {

using Poco::Net::ServerSocket;
using MakeSocket = std::function<std::unique_ptr<ServerSocket>()>;

/// @param family decides how the socket is bound; a fresh socket is needed after each refusal.
std::unique_ptr<ServerSocket> bind(const MakeSocket& makeSocket,
                                   Poco::Net::IPAddress::Family family, unsigned short port,
                                   bool reuseAddress)
{
    auto socket = makeSocket();
#if defined(_WIN32)
    // There address reuse would let another process take the port over.
    socket->impl()->setOption(SOL_SOCKET, SO_EXCLUSIVEADDRUSE, 1);
#endif
    const Poco::Net::SocketAddress address(Poco::Net::IPAddress(family), port);
    constexpr bool kReusePort = false;
    if (family == Poco::Net::IPAddress::IPv6) {
        constexpr bool kIpv6Only = false;
        socket->bind6(address, reuseAddress, kReusePort, kIpv6Only);
    } else {
        socket->bind(address, reuseAddress, kReusePort);
    }
    socket->listen(kListenBacklog);
#if !defined(_WIN32)
    // Too late to share the port, early enough for the connections to inherit it: a later bind with
    // reuse passes only those connections in TIME_WAIT that had it as well.
    socket->setReuseAddress(true);
#endif
#if defined(TCP_NOTSENT_LOWAT)
    // Inherited by the connections. Without it, a thousand clients that read slowly take gigabytes
    // of the kernel's memory for sockets, and everybody's packets are dropped.
    socket->impl()->setOption(IPPROTO_TCP, TCP_NOTSENT_LOWAT, kMaxUnsentBytes);
#endif
    return socket;
}

std::unique_ptr<ServerSocket> bindFamily(const MakeSocket& makeSocket,
                                         Poco::Net::IPAddress::Family family, unsigned short port)
{
    try {
        return bind(makeSocket, family, port, false);
    } catch (const Poco::Net::NetException&) {
#if defined(_WIN32)
        throw;
#else
        return bind(makeSocket, family, port, true);
#endif
    }
}

} // namespace

std::unique_ptr<ServerSocket> bindListeningSocket(unsigned short port, const MakeSocket& makeSocket)
{
    try {
        return bindFamily(makeSocket, Poco::Net::IPAddress::IPv6, port);
    } catch (const Poco::Exception& failure) {
        kServerLog.write(common::Level::Warning,
                         "Failed to bind or listen with ipv6, trying ipv4: " +
                             failure.displayText());
    }
    return bindFamily(makeSocket, Poco::Net::IPAddress::IPv4, port);
}

} // namespace connector::http
