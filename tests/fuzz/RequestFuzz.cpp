#include <Poco/URI.h>
#include <optional>
#include <string>

#include "contract/common/Text.h"
#include "contract/http/FieldSyntax.h"
#include "contract/http/PercentEncode.h"
#include "server/RequestBody.h"
#include "server/RequestHead.h"
#include "server/RequestParts.h"
#include "server/RequestRefusal.h"
#include "tests/fuzz/BodySource.h"
#include "tests/fuzz/Fuzz.h"

namespace connector::http {
namespace {

using fuzz::require;

/// The end of the head as a connection finds it, that searches whenever a piece has arrived.
std::optional<std::size_t> findHead(std::string_view input, std::size_t step)
{
    std::optional<std::size_t> end;
    for (std::size_t searched = 0; !end && searched < input.size();) {
        const auto received = input.substr(0, searched + step);
        end = findHeadEnd(received, searched);
        searched = received.size();
    }
    return end;
}

bool assign(RequestHead& head, std::string_view text)
{
    try {
        head.assign(text);
        return true;
    } catch (const RequestRefusal& refusal) {
        require(refusal.status() == 400 || refusal.status() == 431, "A head's refusal: 400, 431.");
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
    require(isToken(head.method()), "A method is a token.");
    require(head.target().find_first_of(std::string_view(" \t\r\n\0", 5)) == std::string::npos,
            "A target has no blanks.");
    for (const auto& [name, value] : head.fields()) {
        require(isToken(name) && isFieldValue(value), "Names are tokens, values without controls.");
    }
    const auto& framing = head.framing();
    require(countFields(head, "content-length") + countFields(head, "transfer-encoding") <= 1,
            "A body has one framing.");
    require(countFields(head, "host") <= 1, "A request has one host.");

    const auto text = write(head);
    RequestHead again;
    require(findHeadEnd(text, 0) == text.size() && assign(again, text) && write(again) == text,
            "A head that is written and read again is the same.");
    require(again.framing().chunked == framing.chunked && again.framing().length == framing.length,
            "It frames the same body.");
}

void checkParts(const RequestHead& head)
{
    require(collectHeaders(head).size() == head.fields().size(), "No field is lost.");
    for (const auto& [name, value] : collectCookies(head)) {
        require(!name.empty(), "A cookie has a name.");
    }
    StringMultimap parameters;
    try {
        parameters = parseParameters(parseTarget(head.target()).rawQuery);
    } catch (const Poco::URISyntaxException&) {
        return;
    }
    const auto never = [](char) { return false; };
    for (const auto& [name, value] : parameters) {
        require(common::toLowerAscii(name) == name, "Names of parameters are in lower case.");
        require(parseParameters(percentEncode(name, never) + '=' + percentEncode(value, never)) ==
                    StringMultimap({{name, value}}),
                "A parameter that is written and read again is the same.");
    }
}

/// The body and what follows it, or the refusal.
std::string readRest(std::string_view input, std::size_t step, const BodyFraming& framing)
{
    fuzz::BodySource source(input, step);
    try {
        const auto body = readBody(source, framing);
        require(framing.chunked || body.size() == framing.length, "A body has its length.");
        return std::string(body.view()).append("|").append(source.rest());
    } catch (const RequestRefusal& refusal) {
        require(refusal.status() == 400 || refusal.status() == 413, "A body's refusal: 400, 413.");
        return refusal.what();
    }
}

} // namespace
} // namespace connector::http

/// A request: a head, then a body.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace connector;
    auto input = fuzz::textOf(data, size);
    const auto end = fuzz::readInPieces(input, http::findHead);
    static http::RequestHead head; // one for many requests, as on a connection
    if (!end || !http::assign(head, input.substr(0, *end))) {
        return 0;
    }
    http::checkHead(head);
    http::checkParts(head);
    fuzz::readInPieces(input.substr(*end), [](std::string_view body, std::size_t step) {
        return http::readRest(body, step, head.framing());
    });
    return 0;
}
