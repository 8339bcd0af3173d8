#pragma once

#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>

namespace connector::http {

class HttpConnection;

/// The current request of a connection, as POCO's handlers take it. Head, body and answer stay with
/// the connection, so the operations that would read or send throw.
class ServedRequest final : public Poco::Net::HTTPServerRequest
{
public:
    /// Both outlive the request.
    ServedRequest(HttpConnection& connection, const Poco::Net::HTTPServerParams& parameters)
        : connection_(connection), parameters_(parameters)
    {}

    [[nodiscard]] HttpConnection& connection() const noexcept { return connection_; }

    /// @throws Poco::IllegalStateException always.
    std::istream& stream() override;
    const Poco::Net::SocketAddress& clientAddress() const override;
    const Poco::Net::SocketAddress& serverAddress() const override;
    const Poco::Net::HTTPServerParams& serverParams() const override { return parameters_; }
    Poco::Net::HTTPServerResponse& response() const override { return response_; }
    bool secure() const override;

private:
    /// Answers leave through the connection.
    /// @throws Poco::IllegalStateException from every operation but `sent`.
    class Response final : public Poco::Net::HTTPServerResponse
    {
    public:
        void sendContinue() override;
        std::ostream& send() override;
        void sendFile(const std::string& path, const std::string& mediaType) override;
        void sendBuffer(const void* buffer, std::size_t length) override;
        void redirect(const std::string& uri, HTTPStatus status) override;
        void requireAuthentication(const std::string& realm) override;
        bool sent() const override { return false; }
    };

    HttpConnection& connection_;
    const Poco::Net::HTTPServerParams& parameters_;
    mutable Response response_;
};

} // namespace connector::http
