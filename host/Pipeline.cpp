#include "host/Pipeline.h"

#include <map>
#include <string>
#include <utility>

#include "contract/common/Text.h"
#include "contract/http/StaticContentMessages.h"
#include "host/RoutedContentServiceProvider.h"
#include "pipeline/HttpConstantServiceProvider.h"
#include "pipeline/HttpRouterImpl.h"
#include "pipeline/HttpRouterServiceProvider.h"
#include "staticcontent/StaticContentManagerServiceProviderImpl.h"
#include "staticcontent/StaticContentServiceImpl.h"
#include "staticcontent/StaticContentServiceProvider.h"

namespace connector::host {

namespace {

constexpr const char* kStaticContent = "connector/http/staticcontent";
constexpr const char* kConstants = "connector/http/constant";
constexpr const char* kNotFoundPage = "connector/http/notfound";

/// What the router fetches in place of any 404.
constexpr const char* kNotFoundPath = "/pagenotfound.html";

constexpr unsigned short kNotFound = 404;

} // namespace

Pipeline::Pipeline(std::shared_ptr<LocalConnector> connector,
                   std::shared_ptr<configuration::Configuration> configuration)
    : connector_(std::move(connector)), router_(std::make_shared<http::HttpRouterImpl>(
                                            std::vector<std::pair<std::string, Address>>()))
{
    addStages();
    addStaticContent(std::move(configuration));
}

void Pipeline::addStages()
{
    // Providers at one address form a chain in the order of registration. The router is the last:
    // what stands behind its routes answers.
    connector_->registerProvider(kPipelineEntry,
                                 std::make_shared<http::HttpRouterServiceProvider>(router_));
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
    Address address(kConstants);
    address.push(Address({std::to_string(++constants_)}));
    connector_->registerProvider(address, std::make_shared<http::HttpConstantServiceProvider>(
                                              constant.status, constant.text));
    // The root route serves the empty path too, and only the empty prefix matches that.
    router_->addRoute(routePrefix(constant.route), address);
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
