#include "staticcontent/StaticContentManagerServiceProviderImpl.h"

#include <utility>

namespace connector::http {

StaticContentManagerServiceProviderImpl::StaticContentManagerServiceProviderImpl(
    std::shared_ptr<StaticContentService> service)
    : service_(std::move(service))
{}

Future<std::unique_ptr<Message>>
StaticContentManagerServiceProviderImpl::handle(std::unique_ptr<AddStaticContentPath>&& message,
                                                Address&& /*address*/,
                                                std::shared_ptr<Context>&& /*context*/)
{
    service_->addStaticContentPath(message->route, message->path, message->enableCache);
    return makeReadyFuture(std::make_unique<Message>());
}

} // namespace connector::http
