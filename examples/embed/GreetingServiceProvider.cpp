#include "GreetingServiceProvider.h"

#include <connector/http/HttpResponse.h>
#include <connector/http/MakeHttpResponse.h>
#include <connector/streams/DataBuffer.h>
#include <string>
#include <utility>

using connector::Address;
using connector::Context;
using connector::Future;
using connector::Message;

Future<std::unique_ptr<Message>>
GreetingServiceProvider::doGet(std::unique_ptr<connector::http::HttpRequest>&& request,
                               Address&& /*address*/, std::shared_ptr<Context>&& /*context*/)
{
    const auto name = request->parameters.find("name");
    if (name == request->parameters.end() || name->second.empty()) {
        return connector::http::makeReadyHttpResponse(400, "Who is it? Ask for /hello?name=Ada\n");
    }
    const auto text = "Hello, " + name->second + "!\n";
    // Plain text: whatever the name holds, no browser takes it for markup.
    auto response = std::make_unique<connector::http::HttpResponse>(
        200, connector::http::StringMultimap{{"Content-Type", "text/plain; charset=utf-8"}},
        connector::http::StringMultimap(),
        connector::http::makeBody(connector::common::DataBuffer(text)));
    return connector::makeReadyFuture<std::unique_ptr<Message>>(std::move(response));
}

std::string GreetingServiceProvider::allowedMethods() const
{
    return "GET";
}
