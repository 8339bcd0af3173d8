#include "server/ListeningSocket.h"

#include <Poco/AutoPtr.h>
#include <Poco/Net/NetException.h>
#include <Poco/Thread.h>
#include <cerrno>
#include <sys/socket.h>
#include <utility>

namespace connector::http {

namespace {

/// Without descriptors every accept fails at once, and so it does between the end of the socket and
/// that of the acceptor; the pause keeps the acceptor from spinning.
constexpr long kPauseWithoutDescriptorsMs = 20;
constexpr long kPauseAtEndMs = 1;

} // namespace

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
        const auto failure = errno;
        if (failure == EMFILE || failure == ENFILE) {
            Poco::Thread::sleep(kPauseWithoutDescriptorsMs);
        } else if (failure == EINVAL) {
            Poco::Thread::sleep(kPauseAtEndMs);
        }
        throw Poco::Net::NetException("Accepting a connection failed", failure);
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
