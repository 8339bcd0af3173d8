#include "server/RequestHead.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

#include "contract/common/Text.h"
#include "server/RequestRefusal.h"

namespace connector::http {

namespace {

using common::equalsIgnoreCaseAscii;

/// Room that is taken in advance; a browser sends about as many.
constexpr std::size_t kUsualFields = 16;

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

} // namespace

void RequestHead::assign(std::string_view text, const RequestLimits& limits)
{
    text_ = text;
    fields_.clear();
    fields_.reserve(kUsualFields);
    std::string_view rest = text_;
    parseRequestLine(takeLine(rest));
    for (auto line = takeLine(rest); !line.empty(); line = takeLine(rest)) {
        addField(line, limits.fields);
    }
    checkHost();
    determineFraming(limits.body);
    if (method_ == "CONNECT") {
        throw RequestRefusal(501, "This server opens no tunnels.");
    }
}

std::optional<std::string_view> RequestHead::find(std::string_view name) const noexcept
{
    for (const auto& field : fields_) {
        if (equalsIgnoreCaseAscii(field.name, name)) {
            return field.value;
        }
    }
    return std::nullopt;
}

std::string_view RequestHead::get(std::string_view name) const noexcept
{
    return find(name).value_or(std::string_view());
}

bool RequestHead::lists(std::string_view name, std::string_view token) const noexcept
{
    for (const auto& field : fields_) {
        if (!equalsIgnoreCaseAscii(field.name, name)) {
            continue;
        }
        for (auto rest = field.value; !rest.empty();) {
            const auto element = rest.substr(0, rest.find(','));
            if (equalsIgnoreCaseAscii(trimBlanks(element), token)) {
                return true;
            }
            rest.remove_prefix(std::min(element.size() + 1, rest.size()));
        }
    }
    return false;
}

bool RequestHead::keepsAlive() const noexcept
{
    return !lists("connection", "close") && (!isHttp10() || lists("connection", "keep-alive"));
}

bool RequestHead::awaitsContinue() const noexcept
{
    return !isHttp10() && equalsIgnoreCaseAscii(get("expect"), "100-continue");
}

void RequestHead::parseRequestLine(std::string_view line)
{
    const auto first = line.find(' ');
    const auto last = line.rfind(' ');
    if (first == std::string_view::npos || first == last) {
        refuse("Malformed request line.");
    }
    method_ = line.substr(0, first);
    if (!isToken(method_)) {
        refuse("Malformed method.");
    }
    target_ = line.substr(first + 1, last - first - 1);
    if (target_.empty() || target_.find(' ') != std::string_view::npos ||
        std::ranges::any_of(target_, isControl)) {
        refuse("Malformed request target.");
    }
    version_ = line.substr(last + 1);
    if (!isVersion(version_)) {
        refuse("Unknown protocol version.");
    }
}

void RequestHead::addField(std::string_view line, std::size_t maxFields)
{
    const auto field = parseField(line);
    if (!field.has_value()) {
        refuse("Malformed header field.");
    }
    if (fields_.size() == maxFields) {
        throw RequestRefusal(431, "The request has too many header fields.");
    }
    fields_.push_back(*field);
}

void RequestHead::checkHost() const
{
    bool hasHost = false;
    for (const auto& [name, value] : fields_) {
        if (!equalsIgnoreCaseAscii(name, "host")) {
            continue;
        }
        if (std::exchange(hasHost, true)) {
            refuse("Several Host fields.");
        }
        if (!isHost(value)) {
            refuse("Malformed Host field.");
        }
    }
}

void RequestHead::determineFraming(std::uint64_t maxBody)
{
    std::optional<std::string_view> length;
    std::optional<std::string_view> encoding;
    for (const auto& [name, value] : fields_) {
        if (equalsIgnoreCaseAscii(name, "content-length") &&
            std::exchange(length, value).has_value()) {
            refuse("Several Content-Length fields.");
        }
        if (equalsIgnoreCaseAscii(name, "transfer-encoding") &&
            std::exchange(encoding, value).has_value()) {
            refuse("Unsupported Transfer-Encoding.");
        }
    }
    framing_ = {encoding.has_value(), 0};
    if (!encoding.has_value()) {
        framing_.length = length.has_value() ? parseLength(*length) : 0;
        if (framing_.length > maxBody) {
            throw RequestRefusal(413, "The request body is too large.");
        }
        return;
    }
    if (length.has_value()) {
        refuse("Content-Length beside Transfer-Encoding.");
    }
    if (!equalsIgnoreCaseAscii(*encoding, "chunked") || version_ == "HTTP/1.0") {
        refuse("Unsupported Transfer-Encoding.");
    }
}

} // namespace connector::http
