#include "pipeline/HttpConstantServiceProvider.h"

#include "contract/http/MakeHttpResponse.h"

namespace connector::http {

HttpConstantServiceProvider::HttpConstantServiceProvider(unsigned short status,
                                                         const std::string& text)
    : status_(status), text_(text)
{}

Future<std::unique_ptr<Message>>
HttpConstantServiceProvider::handle(std::unique_ptr<HttpRequest>&& /*request*/,
                                    Address&& /*address*/, std::shared_ptr<Context>&& /*context*/)
{
    return makeReadyHttpResponse(status_, text_);
}

} // namespace connector::http
