#include "staticcontent/KorvelToolboxStaticContentServiceProvider.h"

#include <utility>

namespace connector::http {

KorvelToolboxStaticContentServiceProvider::KorvelToolboxStaticContentServiceProvider() = default;

Future<std::unique_ptr<Message>> KorvelToolboxStaticContentServiceProvider::handle(
    std::unique_ptr<HttpRequest>&& request, Address&& address, std::shared_ptr<Context>&& context)
{
    return context->send(std::move(request), std::move(address));
}

} // namespace connector::http
