#pragma once

#include <memory>
#include <string>

#include "client/ClientLimits.h"
#include "contract/http/HttpRouter.h"
#include "contract/messaging/LocalConnector.h"
#include "contract/platform/Configuration.h"
#include "host/RouteSpec.h"
#include "pipeline/ProxyLimits.h"

namespace connector::host {

/// Where servers send their requests.
inline constexpr const char* kPipelineEntry = "connector/http/router";

/// Where AddStaticContentPath is sent.
inline constexpr const char* kContentManager = "connector/http/staticcontentmanager";

/// The default pipeline on a bus: the stages that every request passes, and what the routes lead
/// to. Its providers live on the bus; the object itself is needed only to mount routes. One thread.
class Pipeline
{
public:
    /// Registers the stages, with no route yet.
    /// @param clientLimits of the requests that the proxies make.
    Pipeline(std::shared_ptr<LocalConnector> connector,
             std::shared_ptr<configuration::Configuration> configuration,
             const http::ClientLimits& clientLimits);

    /// Serves a directory, as AddStaticContentPath does.
    /// @throws std::invalid_argument as that message fails with.
    void mount(const ContentRoute& content);

    void mount(const ConstantRoute& constant);

    /// Echoes the frames of WebSockets.
    void mountEcho(const std::string& route);

    /// Hands the requests on to another server.
    /// @param limits of this route alone.
    void mount(const ProxyRoute& proxy, const http::ProxyLimits& limits);

    /// To be called once all routes of the start are mounted: gives a site without a not-found page
    /// of its own, since none of its routes reaches "/pagenotfound.html", a plain one.
    void completeRoutes();

private:
    void addStages(const std::shared_ptr<configuration::Configuration>& configuration);
    void mountProvider(const std::string& route, std::shared_ptr<ServiceProvider> provider);
    void addStaticContent(std::shared_ptr<configuration::Configuration> configuration);

    const std::shared_ptr<LocalConnector> connector_;
    const std::shared_ptr<http::HttpRouter> router_;
    int mounted_ = 0; ///< Routes to providers of their own, each of which has an address.
};

} // namespace connector::host
