#include "host/Host.h"

#include <map>
#include <utility>

#include "manager/HttpManagerJsonSerialization.h"
#include "staticcontent/StaticContentManagerJsonSerialization.h"

namespace connector::host {

namespace {

constexpr const char* kAddStaticContentPath = "connector/http/AddStaticContentPath";

} // namespace

Host::Host(const Options& options)
    : options_(options), connector_(std::make_shared<LocalConnector>()),
      configuration_(std::make_shared<configuration::LayeredConfiguration>()),
      administration_(std::make_shared<administration::Administration>()),
      serializer_(std::make_shared<json::JsonSerializer>()),
      contentJson_(std::make_unique<http::StaticContentManagerJsonSerialization>(serializer_)),
      managerJson_(std::make_unique<http::HttpManagerJsonSerialization>(serializer_)),
      settings_(configuration_), pipeline_(connector_, configuration_, options_.clientLimits),
      servers_(connector_, administration_, options_.serverLimits)
{
    // After the pipeline, whose stages give the keys their defaults and so their types.
    for (const auto& [key, value] : options_.settings) {
        settings_.set(key, value);
    }
    for (const auto& content : options_.contents) {
        pipeline_.mount(content);
    }
    for (const auto& constant : options_.constants) {
        pipeline_.mount(constant);
    }
    for (const auto& route : options_.echoes) {
        pipeline_.mountEcho(route);
    }
    for (const auto& proxy : options_.proxies) {
        pipeline_.mount(proxy, options_.proxyLimits);
    }
    pipeline_.completeRoutes();
}

std::string Host::start()
{
    auto text = servers_.start(options_) + "\n";
    for (const auto& origin : servers_.origins()) {
        if (options_.contents.empty()) {
            text += "  " + origin + "/\n";
        }
        for (const auto& content : options_.contents) {
            text += "  " + origin + routePrefix(content.route) + "/\n";
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
    // Every other type is one of the manager's.
    std::map<std::string, Address> receivers;
    for (const auto& type : serializer_->typeNames()) {
        receivers.emplace(type, type == kAddStaticContentPath ? kContentManager : kServerManager);
    }
    return Console({connector_, administration_, serializer_, settings_, std::move(receivers)},
                   std::move(stop));
}

} // namespace connector::host
