#include "pipeline/DefaultPipeline.h"

#include <atomic>
#include <stdexcept>
#include <utility>

#include <boost/regex.hpp>

#include "contract/common/Text.h"
#include "contract/http/Addresses.h"
#include "contract/http/StaticContentMessages.h"
#include "pipeline/HttpConstantServiceProvider.h"
#include "pipeline/HttpLocalHostFilterServiceProvider.h"
#include "pipeline/HttpPathFilterServiceProvider.h"
#include "pipeline/HttpProxyServiceProvider.h"
#include "pipeline/HttpResponseHeaderServiceProvider.h"
#include "pipeline/HttpRouterImpl.h"
#include "pipeline/HttpRouterServiceProvider.h"
#include "pipeline/HttpSessionManagerImpl.h"
#include "pipeline/HttpSessionServiceProvider.h"
#include "pipeline/RouteTable.h"
#include "pipeline/RoutedContentServiceProvider.h"
#include "pipeline/WebSocketEchoServiceProvider.h"

namespace connector::http {

namespace {

constexpr const char* kMounted = "connector/http/mounted";
constexpr const char* kNotFoundPage = "connector/http/notfound";
constexpr unsigned short kForbidden = 403;
constexpr unsigned short kNotFound = 404;

boost::regex compile(const std::string& pattern, boost::regex::flag_type flags)
{
    try {
        return boost::regex(pattern, flags);
    } catch (const std::runtime_error&) { // boost::regex_error
        throw std::invalid_argument("Malformed pattern: " + pattern);
    }
}

/// The patterns that are set, or the default.
std::vector<boost::regex> patternsOf(const std::optional<std::vector<std::string>>& texts,
                                     boost::regex::flag_type flags,
                                     std::vector<boost::regex> (*defaultList)())
{
    if (!texts) {
        return defaultList();
    }
    std::vector<boost::regex> patterns;
    for (const auto& text : *texts) {
        patterns.push_back(compile(text, flags));
    }
    return patterns;
}

std::vector<HttpResponseHeaderServiceProvider::Rule>
rulesOf(const std::optional<std::vector<HeaderRule>>& texts)
{
    if (!texts) {
        return HttpResponseHeaderServiceProvider::defaultHeaderRules();
    }
    std::vector<HttpResponseHeaderServiceProvider::Rule> rules;
    for (const auto& [pattern, headers] : *texts) {
        rules.emplace_back(compile(pattern, boost::regex::icase), headers);
    }
    return rules;
}

using Stages = std::vector<std::shared_ptr<ServiceProvider>>;

// Providers at one address form a chain in the order of registration: what a stage sends on reaches
// the next one.
Stages makeStages(const std::shared_ptr<configuration::Configuration>& configuration,
                  const DefaultPipelineOptions& options, std::shared_ptr<HttpRouter> router)
{
    Stages stages;
    // The cheapest check comes first, so that refused clients cost as little as possible.
    if (options.localHostFilter) {
        stages.push_back(std::make_shared<HttpLocalHostFilterServiceProvider>(
            configuration,
            patternsOf(options.localHostWhiteList, boost::regex::normal,
                       &HttpLocalHostFilterServiceProvider::defaultWhiteList),
            kForbidden, "Only clients on this machine are served."));
    }
    // Then what may be asked for. Before the session, so that a refused request makes none.
    if (options.pathFilter) {
        stages.push_back(std::make_shared<HttpPathFilterServiceProvider>(
            patternsOf(options.pathWhiteList, boost::regex::icase,
                       &HttpPathFilterServiceProvider::defaultWhiteList),
            kForbidden, "Files of this kind are not served."));
    }
    // From here on every provider sees the session's context, and every answer gets its cookie.
    if (options.sessions) {
        stages.push_back(std::make_shared<HttpSessionServiceProvider>(
            options.sessionManager != nullptr ? options.sessionManager
                                              : std::make_shared<HttpSessionManagerImpl>()));
    }
    // Next to the router: the path is still the client's, and an answer that a provider gave its
    // own cache headers keeps them. The refusals above are not worth caching and get none.
    if (options.responseHeaders) {
        stages.push_back(
            std::make_shared<HttpResponseHeaderServiceProvider>(rulesOf(options.headerRules)));
    }
    stages.insert(stages.end(), options.stages.begin(), options.stages.end());
    // The last: what stands behind its routes answers.
    stages.push_back(std::make_shared<HttpRouterServiceProvider>(std::move(router)));
    return stages;
}

} // namespace

class DefaultPipeline::State
{
public:
    explicit State(std::shared_ptr<LocalConnector> bus)
        : connector(std::move(bus)),
          routes(std::make_shared<pipeline::RouteTable>(
              std::make_shared<HttpRouterImpl>(std::vector<std::pair<std::string, Address>>()),
              kNotFoundPage))
    {}

    const std::shared_ptr<LocalConnector> connector;
    const std::shared_ptr<pipeline::RouteTable> routes;
    std::atomic<int> mounted = 0; ///< Providers that were mounted: numbers their addresses.
};

DefaultPipeline::DefaultPipeline(std::shared_ptr<LocalConnector> connector,
                                 const std::shared_ptr<configuration::Configuration>& configuration,
                                 const DefaultPipelineOptions& options)
    : state_(std::make_unique<State>(std::move(connector)))
{
    auto& bus = *state_->connector;
    for (auto& stage : makeStages(configuration, options, router())) {
        bus.registerProvider(kPipelineEntry, std::move(stage));
    }
    bus.registerProvider(kNotFoundPage, options.notFoundPage != nullptr
                                            ? options.notFoundPage
                                            : std::make_shared<HttpConstantServiceProvider>(
                                                  kNotFound, "File not found."));
    // The first of a chain: the routing table follows what the service behind it has accepted.
    bus.registerProvider(kContentManager,
                         std::make_shared<pipeline::RoutedContentServiceProvider>(state_->routes));
}

DefaultPipeline::~DefaultPipeline() = default;

std::shared_ptr<HttpRouter> DefaultPipeline::router() const
{
    return state_->routes->router();
}

void DefaultPipeline::mount(const std::string& route, std::shared_ptr<ServiceProvider> provider)
{
    if (!route.starts_with('/')) {
        throw std::invalid_argument("A route begins with \"/\": " + route);
    }
    Address address(kMounted);
    address.push(Address({std::to_string(++state_->mounted)}));
    state_->connector->registerProvider(address, provider);
    try {
        state_->routes->add(route, address);
    } catch (...) {
        state_->connector->unregisterProvider(address, provider);
        throw;
    }
}

void DefaultPipeline::mountDirectory(const std::string& route, const std::string& directory,
                                     bool enableCache)
{
    auto message =
        std::make_unique<AddStaticContentPath>(route, common::utf8ToWide(directory), enableCache);
    state_->connector->createContext()->send(std::move(message), kContentManager).get();
}

void DefaultPipeline::mountProxy(const std::string& route, const std::string& url,
                                 const ProxyLimits& limits)
{
    mount(route, std::make_shared<HttpProxyServiceProvider>(url, limits));
}

void DefaultPipeline::mountEcho(const std::string& route)
{
    mount(route, std::make_shared<WebSocketEchoServiceProvider>());
}

} // namespace connector::http
