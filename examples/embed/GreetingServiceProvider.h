#pragma once

#include <connector/http/RestServiceProvider.h>
#include <memory>
#include <string>

/// A provider of one's own: answers "GET /hello?name=Ada" with "Hello, Ada!".
///
/// The base class calls `doGet` for GET requests and refuses what is not overridden. Requests run
/// on many threads at once; this provider holds no state, so it needs no lock.
class GreetingServiceProvider final : public connector::http::RestServiceProvider
{
public:
    connector::Future<std::unique_ptr<connector::Message>>
    doGet(std::unique_ptr<connector::http::HttpRequest>&& request, connector::Address&& address,
          std::shared_ptr<connector::Context>&& context) override;

protected:
    [[nodiscard]] std::string allowedMethods() const override;
};
