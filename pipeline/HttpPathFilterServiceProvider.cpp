#include "pipeline/HttpPathFilterServiceProvider.h"

#include <utility>

#include "contract/http/MakeHttpResponse.h"

namespace connector::http {

HttpPathFilterServiceProvider::HttpPathFilterServiceProvider(std::vector<boost::regex>&& whiteList,
                                                             unsigned short status,
                                                             const std::string& text)
    : whiteList_(std::move(whiteList)), status_(status), text_(text)
{}

std::vector<boost::regex> HttpPathFilterServiceProvider::defaultWhiteList()
{
    return pipeline::DefaultPatterns::kPathFilter.compile();
}

Future<std::unique_ptr<Message>>
HttpPathFilterServiceProvider::handle(std::unique_ptr<HttpRequest>&& request, Address&& address,
                                      std::shared_ptr<Context>&& context)
{
    if (!whiteList_.firstMatch(request->path)) {
        return makeReadyHttpResponse(status_, text_);
    }
    return context->send(std::move(request), std::move(address));
}

} // namespace connector::http
