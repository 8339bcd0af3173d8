#pragma once

#include <memory>
#include <string>
#include <unordered_map>

#include "contract/common/Export.h"
#include "contract/http/HttpManagerServiceProvider.h"
#include "contract/http/HttpServer.h"
#include "contract/messaging/Connector.h"
#include "manager/HandlerGate.h"
#include "server/ServerLimits.h"

namespace connector::http {

/// Owns the HTTP and HTTPS servers of the process by name, and answers the manager messages.
///
/// Every reply is ready when `handle` returns. What it fails with:
///
/// | condition                                       | failure                                    |
/// |-------------------------------------------------|--------------------------------------------|
/// | Create: the name is registered                  | std::invalid_argument "Server with the     |
/// |                                                 | specified name already exists."            |
/// | Create: the type is neither HTTP nor HTTPS      | std::invalid_argument "Unknown server      |
/// |                                                 | type."                                     |
/// | all but Create and List: the name is unknown    | std::runtime_error "No server with the     |
/// |                                                 | specified name exists."                    |
///
/// Any thread may call any handler; one runs at a time, the others wait. Start and Stop may take
/// seconds, and all of them wait that long.
///
/// Requests in flight: Stop and Destroy wait for the requests that the server carries. A request
/// must therefore never make its own server wait for itself:
/// - Stop and Destroy of the server that carries the request whose thread calls are refused with
///   the server's std::logic_error "A server can not be stopped from one of its own requests.";
///   nothing is changed then. Start of it finds it started.
/// - A handler that waits for its turn on a request's thread gives up once that request's server is
///   being stopped: std::runtime_error "The server of this request is being stopped.".
///
/// The end: stop the servers first, then unregister the provider. While it is registered it and its
/// connector hold each other, and a request that is in flight could be the last to let go of the
/// provider, and of its own server with it.
class CONNECTOR_API HttpManagerServiceProviderImpl final : public HttpManagerServiceProvider
{
public:
    /// @param connector handed to every server that is created.
    /// @param limits of every server that is created.
    explicit HttpManagerServiceProviderImpl(std::shared_ptr<Connector> connector,
                                            const ServerLimits& limits = {});
    ~HttpManagerServiceProviderImpl() override;

    /// Kept: answers with the status and leaves the server's socket address as it is. It takes
    /// effect through CreateHttpServer alone, as port and address do.
    Reply handle(std::unique_ptr<SetHttpServerSocketAddress>&& message, Address&& address,
                 std::shared_ptr<Context>&& context) override;

    /// Kept: answers with the status and leaves the server's port as it is.
    Reply handle(std::unique_ptr<SetHttpServerPort>&& message, Address&& address,
                 std::shared_ptr<Context>&& context) override;

    /// Kept: answers with the status and leaves the server's address as it is.
    Reply handle(std::unique_ptr<SetHttpServerAddress>&& message, Address&& address,
                 std::shared_ptr<Context>&& context) override;

    /// Kept: the status of an HTTPS server has the type HTTP; its protocol says "https".
    Reply handle(std::unique_ptr<GetHttpServerStatus>&& message, Address&& address,
                 std::shared_ptr<Context>&& context) override;

    Reply handle(std::unique_ptr<ListHttpServers>&& message, Address&& address,
                 std::shared_ptr<Context>&& context) override;

    /// Stops the server if it runs, then lets go of it.
    /// @throws what `HttpServer::stop` throws; the server stays registered then.
    Reply handle(std::unique_ptr<DestroyHttpServer>&& message, Address&& address,
                 std::shared_ptr<Context>&& context) override;

    /// @throws what `HttpServer::stop` throws.
    Reply handle(std::unique_ptr<StopHttpServer>&& message, Address&& address,
                 std::shared_ptr<Context>&& context) override;

    /// @throws what `HttpServer::start` throws.
    Reply handle(std::unique_ptr<StartHttpServer>&& message, Address&& address,
                 std::shared_ptr<Context>&& context) override;

    /// Registers a server, which is not started.
    Reply handle(std::unique_ptr<CreateHttpServer>&& message, Address&& address,
                 std::shared_ptr<Context>&& context) override;

private:
    /// Runs @p action on the named server, with the turn held, and returns its reply.
    template <typename Action>
    Reply withServer(const std::string& name, const Action& action);

    /// The status of a registered server. Asks the name service, and blocks meanwhile.
    Reply makeReadyStatus(const std::string& name);

    const std::shared_ptr<Connector> connector_;
    const ServerLimits limits_;
    manager::HandlerGate gate_; ///< Guards the registry.
    std::unordered_map<std::string, std::shared_ptr<HttpServer>> servers_;
};

} // namespace connector::http
