#pragma once

#include <functional>
#include <memory>
#include <sstream>
#include <string>

#include "contract/http/HttpRequest.h"
#include "contract/http/HttpResponse.h"
#include "contract/http/HttpServiceProvider.h"
#include "contract/streams/CopyPublisherToStream.h"

namespace connector::test {

/// A request of a remote client, without a body.
inline std::unique_ptr<http::HttpRequest>
makeHttpRequest(std::string path, std::string method = "get", http::StringMultimap headers = {})
{
    return std::make_unique<http::HttpRequest>(
        "http://host/", std::move(path), "", std::move(method), std::move(headers),
        http::StringMultimap(), http::StringMultimap(), false, nullptr);
}

/// The whole body of a response, "" without one.
inline std::string bodyOf(const http::HttpResponse& response)
{
    std::ostringstream text;
    return response.body != nullptr &&
                   reactive_streams::copyPublisherToStream(response.body, text).get()
               ? text.str()
               : "";
}

/// A provider made of a function.
class FunctionProvider final : public http::HttpServiceProvider
{
public:
    using Reply = Future<std::unique_ptr<Message>>;
    using Function = std::function<Reply(http::HttpRequest&)>;

    explicit FunctionProvider(Function given) : function(std::move(given)) {}

    Reply handle(std::unique_ptr<http::HttpRequest>&& request, Address&&,
                 std::shared_ptr<Context>&&) override
    {
        return function(*request);
    }

    Function function;
};

} // namespace connector::test
