#include "contract/http/JsonBody.h"

#include <Poco/Exception.h>
#include <stdexcept>
#include <utility>

#include "contract/http/HttpError.h"
#include "contract/http/MakeHttpResponse.h"
#include "contract/http/ReadRequest.h"

namespace connector::http {

namespace {

std::unique_ptr<Message> parse(const json::JsonSerializer& serializer, const std::string& typeName,
                               const std::string& text)
{
    try {
        return serializer.fromTextStrictly(typeName, text);
    } catch (const std::invalid_argument& fault) {
        throw HttpError(400, fault.what());
    } catch (const Poco::Exception& fault) { // of a member of another kind
        throw HttpError(400, fault.displayText());
    }
}

} // namespace

Reply readJsonBody(const HttpRequest& request,
                   const std::shared_ptr<json::JsonSerializer>& serializer,
                   const std::string& typeName, std::size_t maxBytes)
{
    if (!serializer->knows(typeName)) {
        throw std::invalid_argument("Unknown message type: " + typeName);
    }
    return collectText(request.body, maxBytes)
        .then([serializer, typeName](Future<std::string> text) {
            return parse(*serializer, typeName, text.get());
        });
}

Reply makeReadyJsonResponse(const json::JsonSerializer& serializer, const Message& message,
                            unsigned short status, StringMultimap headers)
{
    headers.emplace("Content-Type", "application/json");
    return makeReadyHttpResponse(status, serializer.toText(message), std::move(headers));
}

} // namespace connector::http
