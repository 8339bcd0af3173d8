#pragma once

#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/StreamSocket.h>

#include "server/ConnectionSocketImpl.h"
#include "server/ServedResponse.h"

namespace connector::http {

/// The request that a connection is at, one after the other, as the networking library hands it to
/// a handler. Fields and body are left where they are, in the connection: the library's own request
/// parses the head once more and makes three streams, a fifth of what a small request costs in all.
class ServedRequest final : public Poco::Net::HTTPServerRequest
{
public:
    /// @param socket of a server of ours; @p parameters of that server. Both outlive the request.
    ServedRequest(Poco::Net::StreamSocket& socket, const Poco::Net::HTTPServerParams& parameters);

    /// Becomes the request whose head the connection has received.
    void begin() noexcept;

    /// Where the request came in: its head, its body and the way of the answer.
    [[nodiscard]] ConnectionSocketImpl& connection() const noexcept { return connection_; }
    [[nodiscard]] Poco::Net::StreamSocket& socket() const noexcept { return socket_; }

    /// Whether the connection goes on behind the answer: as the client asks (RFC 9112 section 9.3),
    /// until `endConnection`.
    [[nodiscard]] bool keepsAlive() const noexcept { return keepsAlive_; }
    void endConnection() noexcept { keepsAlive_ = false; }

    /// @throws Poco::IllegalStateException always: the body is read from the connection.
    std::istream& stream() override;
    const Poco::Net::SocketAddress& clientAddress() const override
    {
        return connection_.clientAddress();
    }
    const Poco::Net::SocketAddress& serverAddress() const override;
    const Poco::Net::HTTPServerParams& serverParams() const override { return parameters_; }
    Poco::Net::HTTPServerResponse& response() const override { return response_; }
    bool secure() const override { return connection_.secure(); }

private:
    Poco::Net::StreamSocket& socket_;
    ConnectionSocketImpl& connection_;
    const Poco::Net::HTTPServerParams& parameters_;
    mutable ServedResponse response_;
    bool keepsAlive_ = false;
};

} // namespace connector::http
