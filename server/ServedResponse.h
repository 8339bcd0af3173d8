#pragma once

#include <Poco/Net/HTTPServerResponse.h>

namespace connector::http {

/// What the networking library hands a handler for its answer. Answers leave through the
/// connection instead (`ConnectionSocketImpl::sendAll`), head and body at once: nothing can be sent
/// by this one.
/// @throws Poco::IllegalStateException from every operation but `sent`.
class ServedResponse final : public Poco::Net::HTTPServerResponse
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

} // namespace connector::http
