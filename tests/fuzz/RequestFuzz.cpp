#include <Poco/URI.h>
#include <optional>
#include <string>

#include "contract/common/Text.h"
#include "contract/http/FieldSyntax.h"
#include "contract/http/PercentEncode.h"
#include "server/HeadScanner.h"
#include "server/RequestHead.h"
#include "server/RequestParts.h"
#include "server/RequestRefusal.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/fuzz/ReadBody.h"

namespace connector::http {
namespace {

using fuzz::require;

/// The head as a connection finds it, which searches whenever a piece has arrived.
std::optional<std::string_view> findHead(std::string_view input, std::size_t step)
{
    HeadScanner scanner;
    std::optional<std::string_view> head;
    try {
        for (std::size_t received = 0; !head && received < input.size();) {
            received = std::min(received + step, input.size());
            head = scanner.scan(input.substr(0, received));
        }
    } catch (const RequestRefusal&) {
        return std::nullopt;
    }
    return head;
}

bool assign(RequestHead& head, std::string_view text)
{
    try {
        head.assign(text);
        return true;
    } catch (const RequestRefusal&) {
        return false;
    }
}

std::string write(const RequestHead& head)
{
    std::string text;
    text.append(head.method()).append(" ").append(head.target()).append(" ");
    text.append(head.version()).append("\r\n");
    for (const auto& [name, value] : head.fields()) {
        text.append(name).append(": ").append(value).append("\r\n");
    }
    return text + "\r\n";
}

auto countFields(const RequestHead& head, std::string_view name)
{
    return std::ranges::count_if(head.fields(), [name](const HeaderField& field) {
        return common::equalsIgnoreCaseAscii(field.name, name);
    });
}

void checkHead(const RequestHead& head)
{
    for (const auto& [name, value] : head.fields()) {
        require(isToken(name) && isFieldValue(value), "Names are tokens, values without controls.");
    }
    const auto& framing = head.framing();
    require(countFields(head, "content-length") + countFields(head, "transfer-encoding") <= 1,
            "A body has one framing.");
    require(countFields(head, "host") <= 1, "A request has one host.");

    const auto text = write(head);
    RequestHead again;
    require(findHead(text, text.size()) == text && assign(again, text) && write(again) == text,
            "A head that is written and read again is the same.");
    require(again.framing().chunked == framing.chunked && again.framing().length == framing.length,
            "It frames the same body.");
}

void checkParts(const RequestHead& head)
{
    require(collectHeaders(head).size() == head.fields().size(), "No field is lost.");
    StringMultimap cookies;
    StringMultimap parameters;
    std::string query;
    try {
        cookies = collectCookies(head);
        query = parseTarget(head.target()).rawQuery;
        parameters = parseParameters(query);
    } catch (const RequestRefusal&) {
        return;
    } catch (const Poco::URISyntaxException&) {
        return;
    }
    require(!cookies.contains(""), "A cookie has a name.");
    require(query.empty() ? parameters.empty()
                          : std::ssize(parameters) == 1 + std::ranges::count(query, '&'),
            "Every piece of a query is a parameter.");
    require(cookies.size() <= 100 && parameters.size() <= 1000, "No more than the limits.");
    const auto never = [](char) { return false; };
    for (const auto& [name, value] : parameters) {
        require(common::toLowerAscii(name) == name, "Names of parameters are in lower case.");
        require(parseParameters(percentEncode(name, never) + '=' + percentEncode(value, never)) ==
                    StringMultimap({{name, value}}),
                "A parameter that is written and read again is the same.");
    }
}

/// The body and what follows it, or why there is none.
std::string readRest(std::string_view input, std::size_t step, const BodyFraming& framing)
{
    try {
        const auto body = fuzz::readBody(input, step, framing);
        if (!body.has_value()) {
            return "incomplete";
        }
        require(framing.chunked || body->size() == framing.length, "A body has its length.");
        return std::string(*body).append("|").append(input);
    } catch (const RequestRefusal& refusal) {
        return refusal.what();
    }
}

} // namespace
} // namespace connector::http

/// A request: a head, then a body.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace connector;
    const auto input = fuzz::textOf(data, size);
    const auto text = fuzz::readInPieces(input, http::findHead);
    static http::RequestHead head; // one for many requests, as on a connection
    if (!text || !http::assign(head, *text)) {
        return 0;
    }
    http::checkHead(head);
    http::checkParts(head);
    const auto rest = input.substr(text->data() + text->size() - input.data());
    fuzz::readInPieces(rest, [](std::string_view body, std::size_t step) {
        return http::readRest(body, step, head.framing());
    });
    return 0;
}
