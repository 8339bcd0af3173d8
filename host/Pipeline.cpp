#include "host/Pipeline.h"

#include <map>
#include <string>
#include <utility>

#include "client/PocoHttpClientServiceProvider.h"
#include "contract/common/Text.h"
#include "contract/http/StaticContentMessages.h"
#include "host/RoutedContentServiceProvider.h"
#include "pipeline/HttpConstantServiceProvider.h"
#include "pipeline/HttpLocalHostFilterServiceProvider.h"
#include "pipeline/HttpPathFilterServiceProvider.h"
#include "pipeline/HttpProxyServiceProvider.h"
#include "pipeline/HttpResponseHeaderServiceProvider.h"
#include "pipeline/HttpRouterImpl.h"
#include "pipeline/HttpRouterServiceProvider.h"
#include "pipeline/HttpSessionManagerImpl.h"
#include "pipeline/HttpSessionServiceProvider.h"
#include "pipeline/WebSocketEchoServiceProvider.h"
#include "staticcontent/StaticContentManagerServiceProviderImpl.h"
#include "staticcontent/StaticContentServiceImpl.h"
#include "staticcontent/StaticContentServiceProvider.h"

namespace connector::host {

namespace {

constexpr const char* kStaticContent = "connector/http/staticcontent";
constexpr const char* kClient = "connector/http/client"; ///< Where proxies send their requests.
constexpr const char* kMounted = "connector/http/mounted";
constexpr const char* kNotFoundPage = "connector/http/notfound";

/// What the router fetches in place of any 404.
constexpr const char* kNotFoundPath = "/pagenotfound.html";

constexpr unsigned short kForbidden = 403;
constexpr unsigned short kNotFound = 404;

} // namespace

Pipeline::Pipeline(std::shared_ptr<LocalConnector> connector,
                   std::shared_ptr<configuration::Configuration> configuration,
                   const http::ClientLimits& clientLimits)
    : connector_(std::move(connector)), router_(std::make_shared<http::HttpRouterImpl>(
                                            std::vector<std::pair<std::string, Address>>()))
{
    addStages(configuration);
    addStaticContent(std::move(configuration));
    connector_->registerProvider(
        kClient, std::make_shared<http::PocoHttpClientServiceProvider>(clientLimits));
}

// Providers at one address form a chain in the order of registration: what a stage sends on reaches
// the next one.
void Pipeline::addStages(const std::shared_ptr<configuration::Configuration>& configuration)
{
    const auto add = [this](std::shared_ptr<ServiceProvider> stage) {
        connector_->registerProvider(kPipelineEntry, std::move(stage));
    };
    // First who may ask at all, by what costs least: a stranger's request is spent nothing on.
    add(std::make_shared<http::HttpLocalHostFilterServiceProvider>(
        configuration, http::HttpLocalHostFilterServiceProvider::defaultWhiteList(), kForbidden,
        "Only clients on this machine are served."));
    // Then what may be asked for. Before the session, so that a refused request makes none.
    add(std::make_shared<http::HttpPathFilterServiceProvider>(
        http::HttpPathFilterServiceProvider::defaultWhiteList(), kForbidden,
        "Files of this kind are not served."));
    // From here on every provider sees the session's context, and every answer gets its cookie.
    add(std::make_shared<http::HttpSessionServiceProvider>(
        std::make_shared<http::HttpSessionManagerImpl>()));
    // Next to the router: the path is still the client's, and an answer that a provider gave its
    // own cache headers keeps them. The refusals above are not worth caching and get none.
    add(std::make_shared<http::HttpResponseHeaderServiceProvider>(
        http::HttpResponseHeaderServiceProvider::defaultHeaderRules()));
    // The last: what stands behind its routes answers.
    add(std::make_shared<http::HttpRouterServiceProvider>(router_));
}

void Pipeline::addStaticContent(std::shared_ptr<configuration::Configuration> configuration)
{
    const auto service = std::make_shared<http::StaticContentServiceImpl>(
        std::move(configuration), std::map<std::string, std::wstring, std::greater<std::string>>(),
        std::map<std::string, bool, std::greater<std::string>>(), false);
    connector_->registerProvider(kStaticContent,
                                 std::make_shared<http::StaticContentServiceProvider>(service));
    // A chain as well: the routing table follows what the service has accepted.
    connector_->registerProvider(kContentManager, std::make_shared<RoutedContentServiceProvider>(
                                                      router_, kStaticContent, kNotFoundPage));
    connector_->registerProvider(
        kContentManager, std::make_shared<http::StaticContentManagerServiceProviderImpl>(service));
}

void Pipeline::mount(const ContentRoute& content)
{
    auto message = std::make_unique<http::AddStaticContentPath>(
        content.route, common::utf8ToWide(content.directory), content.enableCache);
    connector_->createContext()->send(std::move(message), kContentManager).get();
}

void Pipeline::mount(const ConstantRoute& constant)
{
    mountProvider(constant.route, std::make_shared<http::HttpConstantServiceProvider>(
                                      constant.status, constant.text));
}

void Pipeline::mountEcho(const std::string& route)
{
    mountProvider(route, std::make_shared<http::WebSocketEchoServiceProvider>());
}

void Pipeline::mount(const ProxyRoute& proxy, const http::ProxyLimits& limits)
{
    mountProvider(proxy.route, std::make_shared<http::HttpProxyServiceProvider>(proxy.url, limits));
}

void Pipeline::mountProvider(const std::string& route, std::shared_ptr<ServiceProvider> provider)
{
    Address address(kMounted);
    address.push(Address({std::to_string(++mounted_)}));
    connector_->registerProvider(address, std::move(provider));
    // The root route serves the empty path too, and only the empty prefix matches that.
    router_->addRoute(routePrefix(route), address);
}

void Pipeline::completeRoutes()
{
    if (router_->findAddress(kNotFoundPath).empty()) {
        connector_->registerProvider(
            kNotFoundPage,
            std::make_shared<http::HttpConstantServiceProvider>(kNotFound, "File not found."));
        router_->addRoute(kNotFoundPath, kNotFoundPage);
    }
}

} // namespace connector::host
