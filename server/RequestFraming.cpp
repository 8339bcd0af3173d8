#include "server/RequestFraming.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string>
#include <string_view>

#include "contract/common/Text.h"
#include "contract/http/FieldSyntax.h"
#include "server/RequestRefusal.h"

namespace connector::http {

namespace {

[[noreturn]] void refuse(const char* text)
{
    throw RequestRefusal(400, text);
}

bool isVersion(std::string_view version)
{
    return version.size() == 8 && version.starts_with("HTTP/1.") && version[7] >= '0' &&
           version[7] <= '9';
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

/// The fields that delimit the request, and how often each occurs.
struct FramingFields
{
    int hosts = 0;
    int lengths = 0;
    int encodings = 0;
    std::string_view length;
    std::string_view encoding;
};

FramingFields collectFields(const Poco::Net::HTTPRequest& request)
{
    FramingFields fields;
    for (const auto& [name, value] : request) {
        if (!isToken(name) || !isFieldValue(value)) {
            refuse("Malformed header field.");
        }
        if (common::equalsIgnoreCaseAscii(name, "host")) {
            ++fields.hosts;
        } else if (common::equalsIgnoreCaseAscii(name, "content-length")) {
            ++fields.lengths;
            fields.length = value;
        } else if (common::equalsIgnoreCaseAscii(name, "transfer-encoding")) {
            ++fields.encodings;
            fields.encoding = value;
        }
    }
    return fields;
}

void checkRequestLine(const Poco::Net::HTTPRequest& request)
{
    if (!isVersion(request.getVersion())) {
        refuse("Unknown protocol version.");
    }
    if (!isToken(request.getMethod())) {
        refuse("Malformed method.");
    }
    if (std::ranges::any_of(request.getURI(), isControl)) {
        refuse("Malformed request target.");
    }
}

} // namespace

BodyFraming checkFraming(const Poco::Net::HTTPRequest& request)
{
    checkRequestLine(request);
    const auto fields = collectFields(request);
    if (fields.hosts > 1) {
        refuse("Several Host fields.");
    }
    if (fields.lengths > 1) {
        refuse("Several Content-Length fields.");
    }
    if (fields.encodings == 0) {
        return {false, fields.lengths == 0 ? 0 : parseLength(fields.length)};
    }
    if (fields.lengths > 0) {
        refuse("Content-Length beside Transfer-Encoding.");
    }
    if (fields.encodings > 1 || !common::equalsIgnoreCaseAscii(fields.encoding, "chunked") ||
        request.getVersion() == Poco::Net::HTTPMessage::HTTP_1_0) {
        refuse("Unsupported Transfer-Encoding.");
    }
    return {true, 0};
}

} // namespace connector::http
