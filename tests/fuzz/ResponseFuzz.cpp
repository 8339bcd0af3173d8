#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "client/ResponseReader.h"
#include "contract/common/Text.h"
#include "contract/http/FieldSyntax.h"
#include "tests/fuzz/Fuzz.h"

namespace connector::http::client {
namespace {

using fuzz::require;

constexpr std::string_view kFailures[] = {
    "The upstream closed the connection before the end of its answer.",
    "The upstream's answer is malformed.",
    "The upstream's answer is too large.",
    "The upstream switched protocols.",
    "The upstream sends interim answers without end.",
};

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

ResponseHead readHead(std::string_view text)
{
    fuzz::Pieces pieces(text, text.size());
    ResponseReader::Buffer buffer;
    return ResponseReader([&](char* into, std::size_t count) { return pieces.read(into, count); },
                          buffer)
        .readHead();
}

/// No exception leaves it for `read` to catch.
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
    require(write(readHead(text)) == text, "A head that is written and read again is the same.");
}

/// Head and body, or the failure.
std::string read(std::string_view input, std::size_t step, const std::string& method)
{
    fuzz::Pieces pieces(input, step);
    static ResponseReader::Buffer buffer;
    ResponseReader reader(
        [&pieces](char* into, std::size_t count) { return pieces.read(into, count); }, buffer);
    try {
        const auto head = reader.readHead();
        checkHead(head);
        const auto framing = bodyFramingOf(head, method);
        const auto body = reader.readBody(framing);
        require(framing.kind != BodyFraming::Kind::Length || body.size() == framing.length,
                "A body has its length.");
        return write(head).append(body.view());
    } catch (const std::runtime_error& failure) {
        require(std::ranges::count(kFailures, failure.what()) == 1, "The client's texts.");
        return failure.what();
    }
}

} // namespace
} // namespace connector::http::client

/// What an upstream sends.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace connector;
    for (const char* method : {"GET", "HEAD"}) {
        fuzz::readInPieces(fuzz::textOf(data, size), [method](auto input, auto step) {
            return http::client::read(input, step, method);
        });
    }
    return 0;
}
