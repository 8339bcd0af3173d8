#include "server/RequestHead.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

#include "contract/common/Text.h"
#include "contract/http/FieldSyntax.h"
#include "server/RequestRefusal.h"

namespace connector::http {

namespace {

using common::equalsIgnoreCaseAscii;

[[noreturn]] void refuse(const char* text)
{
    throw RequestRefusal(400, text);
}

/// Takes the first line off @p rest, without its end.
std::string_view takeLine(std::string_view& rest)
{
    const auto end = rest.find('\n');
    auto line = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

std::string_view trim(std::string_view text)
{
    constexpr std::string_view kBlanks = " \t";
    const auto begin = std::min(text.find_first_not_of(kBlanks), text.size());
    text.remove_prefix(begin);
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

bool isVersion(std::string_view version)
{
    return version.size() == 8 && version.starts_with("HTTP/1.") && version[7] >= '0' &&
           version[7] <= '9';
}

/// @return the version.
std::string_view checkRequestLine(std::string_view line)
{
    const auto first = line.find(' ');
    const auto last = line.rfind(' ');
    if (first == std::string_view::npos || first == last) {
        refuse("Malformed request line.");
    }
    if (!isToken(line.substr(0, first))) {
        refuse("Malformed method.");
    }
    const auto target = line.substr(first + 1, last - first - 1);
    if (target.empty() || target.find(' ') != std::string_view::npos ||
        std::ranges::any_of(target, isControl)) {
        refuse("Malformed request target.");
    }
    const auto version = line.substr(last + 1);
    if (!isVersion(version)) {
        refuse("Unknown protocol version.");
    }
    return version;
}

std::uint64_t parseLength(std::string_view text)
{
    std::uint64_t length = 0;
    const auto* const end = text.data() + text.size();
    const auto [stop, failure] = std::from_chars(text.data(), end, length);
    if (failure != std::errc() || stop != end ||
        length > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        refuse("Malformed Content-Length.");
    }
    return length;
}

/// The fields that delimit the request.
struct FramingFields
{
    bool host = false;
    std::optional<std::string_view> length;
    std::optional<std::string_view> encoding;
};

void checkField(std::string_view line, FramingFields& fields)
{
    const auto colon = line.find(':');
    if (colon == std::string_view::npos || !isToken(line.substr(0, colon))) {
        refuse("Malformed header field.");
    }
    const auto name = line.substr(0, colon);
    const auto value = trim(line.substr(colon + 1));
    if (!isFieldValue(value)) {
        refuse("Malformed header field.");
    }
    if (equalsIgnoreCaseAscii(name, "host")) {
        if (std::exchange(fields.host, true)) {
            refuse("Several Host fields.");
        }
    } else if (equalsIgnoreCaseAscii(name, "content-length")) {
        if (std::exchange(fields.length, value).has_value()) {
            refuse("Several Content-Length fields.");
        }
    } else if (equalsIgnoreCaseAscii(name, "transfer-encoding")) {
        if (std::exchange(fields.encoding, value).has_value()) {
            refuse("Unsupported Transfer-Encoding.");
        }
    }
}

BodyFraming frame(const FramingFields& fields, std::string_view version)
{
    if (!fields.encoding.has_value()) {
        return {false, fields.length.has_value() ? parseLength(*fields.length) : 0};
    }
    if (fields.length.has_value()) {
        refuse("Content-Length beside Transfer-Encoding.");
    }
    if (!equalsIgnoreCaseAscii(*fields.encoding, "chunked") || version == "HTTP/1.0") {
        refuse("Unsupported Transfer-Encoding.");
    }
    return {true, 0};
}

} // namespace

std::optional<std::size_t> findHeadEnd(std::string_view input, std::size_t searched)
{
    // The line end before the empty line may have been searched already.
    auto lineEnd = input.find('\n', searched < 2 ? 0 : searched - 2);
    while (lineEnd != std::string_view::npos) {
        auto next = lineEnd + 1;
        if (next < input.size() && input[next] == '\r') {
            ++next;
        }
        if (next < input.size() && input[next] == '\n') {
            return next + 1;
        }
        lineEnd = input.find('\n', lineEnd + 1);
    }
    return std::nullopt;
}

BodyFraming checkHead(std::string_view head)
{
    auto rest = head;
    const auto version = checkRequestLine(takeLine(rest));
    FramingFields fields;
    for (auto line = takeLine(rest); !line.empty(); line = takeLine(rest)) {
        checkField(line, fields);
    }
    return frame(fields, version);
}

} // namespace connector::http
