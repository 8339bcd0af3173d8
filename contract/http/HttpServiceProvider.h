#pragma once

#include <memory>

#include "contract/common/Export.h"
#include "contract/http/HttpRequest.h"
#include "contract/messaging/ServiceProviderAPI.h"

namespace connector::http {

/// The provider interface of HTTP requests: every stage of the pipeline and everything behind its
/// routes.
class CONNECTOR_API HttpServiceProvider : public ServiceProviderAPI<HttpServiceProvider>
{
public:
    /// Answers the request or forwards it to @p address through @p context. Runs on the request's
    /// server thread, on many of them at once; blocking it holds that one connection.
    /// @return the future of an HttpResponse or a WebSocket.
    virtual Future<std::unique_ptr<Message>> handle(std::unique_ptr<HttpRequest>&& request,
                                                    Address&& address,
                                                    std::shared_ptr<Context>&& context) = 0;
};

} // namespace connector::http
