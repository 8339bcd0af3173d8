#include "server/ListeningSocket.h"

#include <Poco/AutoPtr.h>
#include <Poco/Net/NetException.h>
#include <cerrno>
#include <sys/socket.h>
#include <utility>

namespace connector::http {

int acceptDescriptor(int listeningDescriptor, Poco::Net::SocketAddress& peer)
{
    sockaddr_storage storage = {};
    auto* const address = reinterpret_cast<sockaddr*>(&storage);
    socklen_t length = sizeof(storage);
    int descriptor = -1;
    do {
        descriptor = ::accept4(listeningDescriptor, address, &length, SOCK_CLOEXEC);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0) {
        throw Poco::Net::NetException("Accepting a connection failed", errno);
    }
    peer = Poco::Net::SocketAddress(address, length);
    return descriptor;
}

ListeningSocketImpl::ListeningSocketImpl(std::shared_ptr<ConnectionRegistry> registry)
    : registry_(std::move(registry))
{}

ListeningSocketImpl::~ListeningSocketImpl() = default;

Poco::Net::SocketImpl* ListeningSocketImpl::acceptConnection(Poco::Net::SocketAddress& peer)
{
    const auto descriptor = acceptDescriptor(sockfd(), peer);
    // The library counts references itself; the one of `new` goes to the caller.
    Poco::AutoPtr<ConnectionSocketImpl> connection(new ConnectionSocketImpl(descriptor, peer));
    registry_->add(connection);
    return connection.duplicate(); // NOLINT(clang-analyzer-cplusplus.NewDelete): counted
}

ListeningSocket::ListeningSocket(std::shared_ptr<ConnectionRegistry> registry)
    : ServerSocket(new ListeningSocketImpl(std::move(registry)), true)
{}

} // namespace connector::http
