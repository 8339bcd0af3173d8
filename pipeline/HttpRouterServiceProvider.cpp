#include "pipeline/HttpRouterServiceProvider.h"

#include <cstdint>
#include <stop_token>
#include <utility>

#include "contract/http/HttpResponse.h"
#include "contract/http/MakeHttpResponse.h"

namespace connector::http {

namespace {

constexpr std::uint16_t kNotFound = 404;

std::unique_ptr<HttpRequest> makeNotFoundPageRequest(std::stop_token stopToken)
{
    auto request =
        std::make_unique<HttpRequest>("", "/pagenotfound.html", "", "get", StringMultimap(),
                                      StringMultimap(), StringMultimap(), false, nullptr);
    request->stopToken = std::move(stopToken);
    return request;
}

Future<std::unique_ptr<Message>> sendForNotFoundPage(HttpRouter& router, Context& context,
                                                     std::stop_token stopToken)
{
    auto request = makeNotFoundPageRequest(std::move(stopToken));
    // Kept: the page's address is not put behind the one that the router was reached with.
    auto target = router.findAddress(request->path);
    return context.send(std::move(request), std::move(target))
        .then([](Future<std::unique_ptr<Message>> reply) {
            auto page = reply.get();
            if (auto* response = messageAs<HttpResponse>(page)) {
                response->status = kNotFound;
            }
            return page;
        });
}

/// The reply, or what the not-found page's address answers in its place.
Future<std::unique_ptr<Message>> withNotFoundPage(Future<std::unique_ptr<Message>> reply,
                                                  const std::shared_ptr<HttpRouter>& router,
                                                  const std::shared_ptr<Context>& context,
                                                  const std::stop_token& stopToken)
{
    auto message = reply.get();
    const auto* response = messageAs<HttpResponse>(message);
    if (response == nullptr || response->status != kNotFound) {
        return makeReadyFuture(std::move(message));
    }
    return sendForNotFoundPage(*router, *context, stopToken);
}

} // namespace

HttpRouterServiceProvider::HttpRouterServiceProvider(std::shared_ptr<HttpRouter> router)
    : router_(std::move(router))
{}

Future<std::unique_ptr<Message>>
HttpRouterServiceProvider::handle(std::unique_ptr<HttpRequest>&& request, Address&& address,
                                  std::shared_ptr<Context>&& context)
{
    auto target = router_->findAddress(request->path);
    if (target.empty()) {
        return makeReadyHttpResponse(
            kNotFound, "No entry in the routing table to handle the path: " + request->path);
    }
    address.push(std::move(target));
    const auto stopToken = request->stopToken;
    return context->send(std::move(request), std::move(address))
        .thenKeeping(withNotFoundPage, router_, context, stopToken);
}

} // namespace connector::http
