#include <string>
#include <utility>
#include <vector>

#include "contract/common/Text.h"
#include "contract/http/FieldSyntax.h"
#include "tests/fuzz/ReadAnswer.h"

namespace connector::http::client {
namespace {

using fuzz::require;

std::string write(const ResponseHead& head)
{
    std::vector<std::pair<std::string, std::string>> headers(head.headers.begin(),
                                                             head.headers.end());
    std::ranges::sort(headers);
    auto text = "HTTP/1.1 " + std::to_string(head.status) + "\r\n";
    for (const auto& [name, value] : headers) {
        text.append(name).append(": ").append(value).append("\r\n");
    }
    return text + "\r\n";
}

/// A failure in here is none of the answer.
void checkHead(const ResponseHead& head) noexcept
{
    require(head.status >= 200 && head.status <= 999, "A final answer has a status.");
    for (const auto& [name, value] : head.headers) {
        require(isToken(name) && isFieldValue(value), "Names are tokens, values without controls.");
        require(common::toLowerAscii(name) == name, "Names are in lower case.");
        if (const auto cookie = parseSetCookie(value)) {
            require(parseSetCookie(cookie->first + '=' + cookie->second) == cookie,
                    "A cookie that is written and read again is the same.");
        }
    }
    const auto text = write(head);
    const auto again = fuzz::readAnswer(
        text, text.size(), [](ResponseReader& reader) { return write(reader.readHead()); });
    require(again == text, "A head that is written and read again is the same.");
}

/// Head and body.
std::string read(ResponseReader& reader, const std::string& method)
{
    const auto head = reader.readHead();
    checkHead(head);
    const auto framing = bodyFramingOf(head, method);
    const auto body = reader.readBody(framing);
    require(framing.kind != BodyFraming::Kind::Length || body.size() == framing.length,
            "A body has its length.");
    return write(head).append(body.view());
}

} // namespace
} // namespace connector::http::client

/// What an upstream sends.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace connector;
    for (const char* method : {"GET", "HEAD"}) {
        fuzz::readInPieces(fuzz::textOf(data, size), [method](auto input, auto step) {
            return fuzz::readAnswer(input, step, [method](http::client::ResponseReader& reader) {
                return http::client::read(reader, method);
            });
        });
    }
    return 0;
}
