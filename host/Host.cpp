#include "host/Host.h"

#include <utility>

#include "contract/http/RoutePrefix.h"
#include "host/ProviderLoader.h"
#include "pipeline/HttpConstantServiceProvider.h"

namespace connector::host {

namespace {

http::ApplicationOptions applicationOptions(const Options& options)
{
    http::ApplicationOptions chosen;
    chosen.clientLimits = options.clientLimits;
    chosen.serverLimits = options.serverLimits;
    chosen.logLevel = options.logLevel;
    chosen.logFile = options.logFile;
    return chosen;
}

} // namespace

Host::Host(const Options& options)
    : options_(options), application_(applicationOptions(options)),
      settings_(application_.configuration()), servers_(application_)
{
    // After the pipeline, whose stages give the keys their defaults and so their types.
    for (const auto& [key, value] : options_.settings) {
        settings_.set(key, value);
    }
    mountRoutes();
}

void Host::mountRoutes()
{
    auto& pipeline = application_.pipeline();
    for (const auto& [route, directory, enableCache] : options_.contents) {
        pipeline.mountDirectory(route, directory, enableCache);
    }
    for (const auto& [route, status, text] : options_.constants) {
        pipeline.mount(route, std::make_shared<http::HttpConstantServiceProvider>(status, text));
    }
    for (const auto& route : options_.echoes) {
        pipeline.mountEcho(route);
    }
    for (const auto& [route, url] : options_.proxies) {
        pipeline.mountProxy(route, url, options_.proxyLimits);
    }
    for (const auto& provider : options_.providers) {
        pipeline.mount(provider.route, loadProvider(provider, application_));
    }
}

std::string Host::start()
{
    auto text = servers_.start(options_) + "\n";
    for (const auto& origin : servers_.origins()) {
        if (options_.contents.empty()) {
            text += "  " + origin + "/\n";
        }
        for (const auto& content : options_.contents) {
            text += "  " + origin + http::routePrefix(content.route) + "/\n";
        }
    }
    return text;
}

void Host::stop(const std::function<void(const std::string& what)>& ending)
{
    servers_.stop(ending);
}

Console Host::makeConsole(std::stop_token stop) const
{
    return Console({application_.connector(), application_.administration(),
                    application_.serializer(), settings_, application_.receivers()},
                   std::move(stop));
}

} // namespace connector::host
