#include "client/ResponseHead.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

#include "contract/common/Text.h"
#include "contract/http/FieldSyntax.h"

namespace connector::http::client {

namespace {

[[noreturn]] void refuse()
{
    throw std::runtime_error("The upstream's answer is malformed.");
}

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

std::string_view trim(std::string_view text)
{
    const auto begin = text.find_first_not_of(" \t");
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(" \t") + 1 - begin);
}

/// Takes the part up to @p mark, and the mark, off the front of @p text.
std::string_view takeUntil(std::string_view& text, char mark)
{
    const auto end = std::min(text.find(mark), text.size());
    const auto part = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return part;
}

/// Takes a line off the front of @p text, without its end.
std::string_view takeLine(std::string_view& text)
{
    auto line = takeUntil(text, '\n');
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

/// "HTTP/1.1 200 OK"; the reason may be missing.
std::uint16_t parseStatusLine(std::string_view line)
{
    const auto version = takeUntil(line, ' ');
    const auto status = takeUntil(line, ' ');
    const auto versionFits =
        version.size() == 8 && version.starts_with("HTTP/1.") && isDigit(version[7]);
    const auto statusFits =
        status.size() == 3 && std::ranges::all_of(status, isDigit) && status[0] != '0';
    if (!versionFits || !statusFits) {
        refuse();
    }
    return static_cast<std::uint16_t>((status[0] - '0') * 100 + (status[1] - '0') * 10 +
                                      (status[2] - '0'));
}

/// The blank in the place of the fold never begins or ends the value.
void appendFolded(std::string& value, std::string_view line)
{
    if (!value.empty() && !line.empty()) {
        value += ' ';
    }
    value += line;
}

std::uint64_t parseLength(std::string_view text)
{
    std::uint64_t length = 0;
    const auto* end = text.data() + text.size();
    const auto [rest, failure] = std::from_chars(text.data(), end, length);
    if (text.empty() || failure != std::errc() || rest != end) {
        refuse();
    }
    return length;
}

} // namespace

ResponseHead parseResponseHead(std::string_view text)
{
    ResponseHead head;
    head.status = parseStatusLine(takeLine(text));
    auto last = head.headers.end();
    for (auto line = takeLine(text); !line.empty(); line = takeLine(text)) {
        if (!isFieldValue(line)) {
            refuse();
        }
        if (line[0] == ' ' || line[0] == '\t') {
            if (last == head.headers.end()) {
                refuse();
            }
            appendFolded(last->second, trim(line));
            continue;
        }
        if (line.find(':') == std::string_view::npos) {
            refuse();
        }
        const auto name = trim(takeUntil(line, ':'));
        if (!isToken(name)) {
            refuse();
        }
        last = head.headers.emplace(common::toLowerAscii(std::string(name)), trim(line));
    }
    return head;
}

std::optional<std::uint64_t> announcedLength(const StringMultimap& headers)
{
    std::optional<std::uint64_t> length;
    const auto [begin, end] = headers.equal_range("content-length");
    for (auto header = begin; header != end; ++header) {
        std::string_view list = header->second;
        do {
            const auto next = parseLength(trim(takeUntil(list, ',')));
            if (length.value_or(next) != next) {
                refuse();
            }
            length = next;
        } while (!list.empty());
    }
    return length;
}

BodyFraming bodyFramingOf(const ResponseHead& head, const std::string& method)
{
    constexpr std::uint16_t kNoContent = 204;
    constexpr std::uint16_t kNotModified = 304;
    const auto length = announcedLength(head.headers);
    if (method == "HEAD" || head.status == kNoContent || head.status == kNotModified) {
        return {BodyFraming::Kind::Length, 0};
    }
    const auto [begin, end] = head.headers.equal_range("transfer-encoding");
    if (begin != end) {
        if (std::next(begin) != end ||
            !common::equalsIgnoreCaseAscii(trim(begin->second), "chunked")) {
            refuse();
        }
        return {BodyFraming::Kind::Chunked, 0};
    }
    return length.has_value() ? BodyFraming{BodyFraming::Kind::Length, *length}
                              : BodyFraming{BodyFraming::Kind::UntilClose, 0};
}

std::optional<std::pair<std::string, std::string>> parseSetCookie(std::string_view line)
{
    auto pair = takeUntil(line, ';');
    if (pair.find('=') == std::string_view::npos) {
        return std::nullopt;
    }
    const auto name = trim(takeUntil(pair, '='));
    return std::pair(std::string(name), std::string(trim(pair)));
}

} // namespace connector::http::client
