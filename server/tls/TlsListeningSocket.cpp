#include "server/tls/TlsListeningSocket.h"

#include <Poco/AutoPtr.h>
#include <Poco/Net/SecureServerSocketImpl.h>
#include <utility>

#include "server/ListeningSocket.h"
#include "server/tls/TlsConnectionSocketImpl.h"

namespace connector::http {

namespace {

class TlsListeningSocketImpl final : public Poco::Net::SecureServerSocketImpl
{
public:
    TlsListeningSocketImpl(const Poco::Net::Context::Ptr& context,
                           std::shared_ptr<ConnectionRegistry> registry)
        : SecureServerSocketImpl(context), registry_(std::move(registry))
    {}

    Poco::Net::SocketImpl* acceptConnection(Poco::Net::SocketAddress& peer) override
    {
        const auto descriptor = acceptDescriptor(sockfd(), peer);
        // The library counts references itself; the one of `new` goes to the caller.
        Poco::AutoPtr<ConnectionSocketImpl> connection(
            new TlsConnectionSocketImpl(descriptor, peer, context()));
        registry_->add(connection);
        return connection.duplicate(); // NOLINT(clang-analyzer-cplusplus.NewDelete): counted
    }

private:
    const std::shared_ptr<ConnectionRegistry> registry_;
};

} // namespace

TlsListeningSocket::TlsListeningSocket(const Poco::Net::Context::Ptr& context,
                                       std::shared_ptr<ConnectionRegistry> registry)
    : ServerSocket(new TlsListeningSocketImpl(context, std::move(registry)), true)
{}

} // namespace connector::http
