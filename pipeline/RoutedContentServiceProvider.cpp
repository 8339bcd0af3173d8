#include "pipeline/RoutedContentServiceProvider.h"

#include <utility>

#include "contract/http/Addresses.h"

namespace connector::http::pipeline {

RoutedContentServiceProvider::RoutedContentServiceProvider(std::shared_ptr<RouteTable> routes)
    : routes_(std::move(routes))
{}

Future<std::unique_ptr<Message>>
RoutedContentServiceProvider::handle(std::unique_ptr<AddStaticContentPath>&& message,
                                     Address&& address, std::shared_ptr<Context>&& context)
{
    routes_->requireFree(message->route, kStaticContent);
    const auto route = message->route;
    auto reply = context->send(std::move(message), std::move(address));
    return reply.then([routes = routes_, route](Future<std::unique_ptr<Message>> resolved) {
        auto acknowledgement = resolved.get();
        routes->add(route, kStaticContent);
        return acknowledgement;
    });
}

} // namespace connector::http::pipeline
