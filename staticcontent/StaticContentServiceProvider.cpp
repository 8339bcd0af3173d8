#include "staticcontent/StaticContentServiceProvider.h"

#include <utility>

namespace connector::http {

StaticContentServiceProvider::StaticContentServiceProvider(
    std::shared_ptr<StaticContentService> service)
    : service_(std::move(service))
{}

Future<std::unique_ptr<Message>>
StaticContentServiceProvider::doGet(std::unique_ptr<HttpRequest>&& request, Address&& address,
                                    std::shared_ptr<Context>&& context)
{
    return service_->doGet(std::move(request), std::move(address), std::move(context));
}

Future<std::unique_ptr<Message>>
StaticContentServiceProvider::doHead(std::unique_ptr<HttpRequest>&& request, Address&& address,
                                     std::shared_ptr<Context>&& context)
{
    return service_->doHead(std::move(request), std::move(address), std::move(context));
}

std::string StaticContentServiceProvider::allowedMethods() const
{
    return "GET, HEAD";
}

} // namespace connector::http
