#pragma once

#include <Poco/Net/Context.h>

#include "server/ConnectionSocketImpl.h"
#include "server/tls/TlsSession.h"

namespace connector::http {

/// The socket of one accepted connection of a secure server: what goes over it is encrypted.
///
/// The handshake is part of the first `poll` or receive, so it runs on the thread that serves the
/// connection, and has the time-out of that call as a whole.
class TlsConnectionSocketImpl final : public ConnectionSocketImpl
{
public:
    /// Takes the descriptor over.
    TlsConnectionSocketImpl(poco_socket_t descriptor, const Poco::Net::SocketAddress& peer,
                            const Poco::Net::Context::Ptr& context);

    /// Flags have no meaning on an encrypted connection and are ignored.
    using ConnectionSocketImpl::receiveBytes;
    int receiveBytes(void* buffer, int length, int flags) override;
    using ConnectionSocketImpl::sendBytes;
    int sendBytes(const void* buffer, int length, int flags) override;
    int sendBytes(const Poco::Net::SocketBufVec& buffers, int flags) override;
    int available() override;
    bool secure() const override { return true; }
    void sendAll(std::string_view head, std::string_view body) override;

    /// For what outgrows the socket: an upgraded connection. Lives as long as the socket.
    TlsSession& session() noexcept { return session_; }
    ~TlsConnectionSocketImpl() override;

protected:
    std::optional<std::size_t> receive(char* buffer, std::size_t length,
                                       std::chrono::microseconds timeout) override;
    void sendAtOnce(std::string_view text) noexcept override;
    void endSending() noexcept override;

private:
    const Poco::Net::Context::Ptr context_; ///< Destroyed after the session.
    TlsSession session_;
};

} // namespace connector::http
