#include "contract/http/RestServiceProvider.h"

#include <utility>

#include "contract/http/MakeHttpResponse.h"

namespace connector::http {

Future<std::unique_ptr<Message>> RestServiceProvider::handle(std::unique_ptr<HttpRequest>&& request,
                                                             Address&& address,
                                                             std::shared_ptr<Context>&& context)
{
    using Operation = decltype(&RestServiceProvider::doGet);
    struct Entry
    {
        const char* method;
        Operation operation;
    };
    static constexpr Entry kOperations[] = {
        {"get", &RestServiceProvider::doGet},       {"head", &RestServiceProvider::doHead},
        {"post", &RestServiceProvider::doPost},     {"put", &RestServiceProvider::doPut},
        {"delete", &RestServiceProvider::doDelete},
    };
    for (const auto& [method, operation] : kOperations) {
        if (request->method == method) {
            return (this->*operation)(std::move(request), std::move(address), std::move(context));
        }
    }
    return refuseMethod();
}

Future<std::unique_ptr<Message>>
RestServiceProvider::doGet(std::unique_ptr<HttpRequest>&& /*request*/, Address&& /*address*/,
                           std::shared_ptr<Context>&& /*context*/)
{
    return refuseMethod();
}

Future<std::unique_ptr<Message>>
RestServiceProvider::doPost(std::unique_ptr<HttpRequest>&& /*request*/, Address&& /*address*/,
                            std::shared_ptr<Context>&& /*context*/)
{
    return refuseMethod();
}

Future<std::unique_ptr<Message>>
RestServiceProvider::doPut(std::unique_ptr<HttpRequest>&& /*request*/, Address&& /*address*/,
                           std::shared_ptr<Context>&& /*context*/)
{
    return refuseMethod();
}

Future<std::unique_ptr<Message>>
RestServiceProvider::doDelete(std::unique_ptr<HttpRequest>&& /*request*/, Address&& /*address*/,
                              std::shared_ptr<Context>&& /*context*/)
{
    return refuseMethod();
}

Future<std::unique_ptr<Message>>
RestServiceProvider::doHead(std::unique_ptr<HttpRequest>&& /*request*/, Address&& /*address*/,
                            std::shared_ptr<Context>&& /*context*/)
{
    return refuseMethod();
}

std::string RestServiceProvider::allowedMethods() const
{
    return {};
}

Future<std::unique_ptr<Message>> RestServiceProvider::refuseMethod() const
{
    return makeReadyHttpResponse(405, "Method not allowed.", {{"Allow", allowedMethods()}});
}

} // namespace connector::http
