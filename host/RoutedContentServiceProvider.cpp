#include "host/RoutedContentServiceProvider.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "host/RouteSpec.h"

namespace connector::host {

class RoutedContentServiceProvider::Table
{
public:
    Table(std::shared_ptr<http::HttpRouter> router, Address content, Address notFound)
        : router_(std::move(router)), content_(std::move(content)), notFound_(std::move(notFound))
    {}

    void requireFree(const std::string& route) const
    {
        const auto prefix = routePrefix(route);
        for (const auto& [path, address] : router_->listRoutes()) {
            if (path == prefix && address != content_) {
                throw std::invalid_argument("The route is taken by another provider: " + route);
            }
        }
    }

    void add(const std::string& route)
    {
        const auto prefix = routePrefix(route);
        const std::lock_guard lock(mutex_);
        const auto routes = router_->listRoutes();
        if (std::ranges::find(routes, std::make_pair(prefix, content_)) != routes.end()) {
            return;
        }
        router_->addRoute(prefix, content_);
        const auto plain = std::ranges::find(routes, notFound_, &Route::second);
        if (prefix.empty() && plain != routes.end()) {
            router_->removeRoute(plain->first);
        }
    }

private:
    using Route = std::pair<std::string, Address>;

    const std::shared_ptr<http::HttpRouter> router_;
    const Address content_;
    const Address notFound_;
    std::mutex mutex_; ///< Held from the look at the table to its change.
};

RoutedContentServiceProvider::RoutedContentServiceProvider(std::shared_ptr<http::HttpRouter> router,
                                                           Address content, Address notFound)
    : table_(std::make_shared<Table>(std::move(router), std::move(content), std::move(notFound)))
{}

Future<std::unique_ptr<Message>>
RoutedContentServiceProvider::handle(std::unique_ptr<http::AddStaticContentPath>&& message,
                                     Address&& address, std::shared_ptr<Context>&& context)
{
    table_->requireFree(message->route);
    const auto route = message->route;
    auto reply = context->send(std::move(message), std::move(address));
    return reply.then([table = table_, route](Future<std::unique_ptr<Message>> resolved) {
        auto acknowledgement = resolved.get();
        table->add(route);
        return acknowledgement;
    });
}

} // namespace connector::host
