#pragma once

#include <memory>

#include "contract/common/Export.h"
#include "contract/http/HttpManagerMessages.h"
#include "contract/messaging/Reply.h"
#include "contract/messaging/ServiceProviderAPI.h"

namespace connector::http {

/// The provider interface of the server manager: one `handle` per manager message.
class CONNECTOR_API HttpManagerServiceProvider
    : public ServiceProviderAPI<HttpManagerServiceProvider>
{
public:
    virtual Reply handle(std::unique_ptr<SetHttpServerSocketAddress>&& message, Address&& address,
                         std::shared_ptr<Context>&& context) = 0;
    virtual Reply handle(std::unique_ptr<SetHttpServerPort>&& message, Address&& address,
                         std::shared_ptr<Context>&& context) = 0;
    virtual Reply handle(std::unique_ptr<SetHttpServerAddress>&& message, Address&& address,
                         std::shared_ptr<Context>&& context) = 0;
    virtual Reply handle(std::unique_ptr<GetHttpServerStatus>&& message, Address&& address,
                         std::shared_ptr<Context>&& context) = 0;
    virtual Reply handle(std::unique_ptr<ListHttpServers>&& message, Address&& address,
                         std::shared_ptr<Context>&& context) = 0;
    virtual Reply handle(std::unique_ptr<DestroyHttpServer>&& message, Address&& address,
                         std::shared_ptr<Context>&& context) = 0;
    virtual Reply handle(std::unique_ptr<StopHttpServer>&& message, Address&& address,
                         std::shared_ptr<Context>&& context) = 0;
    virtual Reply handle(std::unique_ptr<StartHttpServer>&& message, Address&& address,
                         std::shared_ptr<Context>&& context) = 0;
    virtual Reply handle(std::unique_ptr<CreateHttpServer>&& message, Address&& address,
                         std::shared_ptr<Context>&& context) = 0;
};

} // namespace connector::http
