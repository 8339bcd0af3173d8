#pragma once

#include <memory>
#include <string>

#include "contract/common/Export.h"
#include "contract/http/HttpServiceProvider.h"
#include "pipeline/Bulkhead.h"
#include "pipeline/ProxyLimits.h"

namespace connector::http {

/// Forwards requests to another HTTP server, by way of the client service at
/// "connector/http/client", and answers with what that returns.
///
/// The URL asked for is the target URL, the request's path, "?" and the request's query. Path and
/// query arrive decoded, so every byte that may not stand there by itself is encoded again: the
/// path reaches the other server as it came, but for an encoded "/", and so does a query but for
/// encoded "&", "=", "+" and the like, which arrive bare.
///
/// Which headers pass, towards the other server (the client service rewrites what belongs to the
/// connection) and back:
///
/// | header                                 | request                      | answer               |
/// |----------------------------------------|------------------------------|----------------------|
/// | Host                                   | as it came                   | -                    |
/// | Cookie                                 | as it came, in one line      | -                    |
/// | Set-Cookie                             | -                            | each line as it came |
/// | Content-Length                         | the size of the body; none   | as it came, or the   |
/// |                                        | for GET, HEAD, DELETE        | size of the body     |
/// | Connection and those it names,         | none; "Connection: close"    | none                 |
/// | Keep-Alive, Proxy-Connection, TE,      | instead                      |                      |
/// | Trailer, Transfer-Encoding, Upgrade    |                              |                      |
/// | Expect                                 | none                         | -                    |
/// | all others                             | as they came                 | as they came         |
class CONNECTOR_API HttpProxyServiceProvider final : public HttpServiceProvider
{
public:
    /// @param targetUrl what the paths are appended to, such as "http://127.0.0.1:8080".
    explicit HttpProxyServiceProvider(const std::string& targetUrl, const ProxyLimits& limits = {});

    /// Blocks until the other server has answered; see PocoHttpClientServiceProvider::handle. A
    /// stop of the request's token ends that. Does not block where as many requests as the limits
    /// allow are blocked here already.
    /// @return a ready future of an HttpResponse: the other server's; 500 "Unexpected response type
    ///         when proxying."; beyond the limit 503 "Too many requests wait for the other server."
    ///         with Retry-After.
    /// @throws what the client service fails with; std::runtime_error "The request was abandoned."
    ///         when the token is stopped.
    Future<std::unique_ptr<Message>> handle(std::unique_ptr<HttpRequest>&& request,
                                            Address&& address,
                                            std::shared_ptr<Context>&& context) override;

private:
    std::unique_ptr<Message> forward(HttpRequest& request, Context& context) const;

    const std::string targetUrl_;
    const ProxyLimits limits_;
    pipeline::Bulkhead bulkhead_;
};

} // namespace connector::http
