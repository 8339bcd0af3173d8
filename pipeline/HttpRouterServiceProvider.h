#pragma once

#include <memory>

#include "contract/common/Export.h"
#include "contract/http/HttpRouter.h"
#include "contract/http/HttpServiceProvider.h"

namespace connector::http {

/// Dispatches a request to the provider that the routing table names for its path, and answers a
/// 404 of that provider with the site's not-found page.
class CONNECTOR_API HttpRouterServiceProvider final : public HttpServiceProvider
{
public:
    explicit HttpRouterServiceProvider(std::shared_ptr<HttpRouter> router);

    /// Sends the request to @p address with the route's address behind it. Without a route the
    /// answer is 404 with "No entry in the routing table to handle the path: " + path.
    ///
    /// A 404 that comes back is discarded for the answer to a "get" of "/pagenotfound.html", sent
    /// straight to the address that the table names for that path; its status becomes 404. That
    /// second request carries no body, no headers and no local flag, and is not replaced again.
    /// Takes no lock but the table's, does not block.
    Future<std::unique_ptr<Message>> handle(std::unique_ptr<HttpRequest>&& request,
                                            Address&& address,
                                            std::shared_ptr<Context>&& context) override;

private:
    const std::shared_ptr<HttpRouter> router_;
};

} // namespace connector::http
