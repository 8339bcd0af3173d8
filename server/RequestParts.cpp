#include "server/RequestParts.h"

#include <Poco/URI.h>
#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "contract/common/Text.h"
#include "contract/http/FieldSyntax.h"
#include "server/RequestRefusal.h"

namespace connector::http {

namespace {

constexpr std::string_view kBlanks = " \t";

/// Characters that stand for themselves in a path and in a query.
constexpr auto kPlainCharacters = [] {
    std::array<bool, 256> plain = {};
    for (const unsigned char c :
         std::string_view("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                          "0123456789/._~-=&")) {
        plain[c] = true;
    }
    return plain;
}();

bool isPlain(std::string_view text)
{
    return std::ranges::all_of(text, [](unsigned char c) { return kPlainCharacters[c]; });
}

std::string decode(std::string_view text)
{
    std::string decoded;
    if (isPlain(text)) {
        decoded = text;
    } else {
        Poco::URI::decode(std::string(text), decoded);
    }
    return decoded;
}

/// Takes the part up to @p mark, and the mark, off the front of @p text.
std::string_view takeUntil(std::string_view& text, char mark)
{
    const auto part = text.substr(0, text.find(mark));
    text.remove_prefix(std::min(part.size() + 1, text.size()));
    return part;
}

/// Takes a cookie's value and the ";" behind it off the front of @p text. A ";" in quotes or behind
/// a backslash belongs to the value; quotes and backslashes are dropped.
std::string takeQuotedValue(std::string_view& text)
{
    std::string value;
    auto quoted = false;
    std::size_t at = 0;
    for (; at < text.size() && (quoted || text[at] != ';'); ++at) {
        if (text[at] == '"') {
            quoted = !quoted;
            continue;
        }
        at += text[at] == '\\' ? 1 : 0;
        value += text.substr(std::min(at, text.size()), 1);
    }
    text.remove_prefix(std::min(at + 1, text.size()));
    value.resize(value.find_last_not_of(kBlanks) + 1);
    return value;
}

std::string takeCookieValue(std::string_view& text)
{
    const auto plain = text.substr(0, text.find(';'));
    if (plain.find('"') == std::string_view::npos && plain.find('\\') == std::string_view::npos) {
        return std::string(trimBlanks(takeUntil(text, ';')));
    }
    text.remove_prefix(text.find_first_not_of(kBlanks));
    return takeQuotedValue(text);
}

/// Adds the cookies of one Cookie field (RFC 6265 section 5.4).
void addCookies(std::string_view field, std::size_t maxCookies, StringMultimap& cookies)
{
    while (!field.empty()) {
        const auto pair = field.substr(0, field.find(';'));
        const auto equals = pair.find('=');
        const auto name = trimBlanks(pair.substr(0, equals));
        field.remove_prefix(std::min(std::min(equals, pair.size()) + 1, field.size()));
        auto value = equals == std::string_view::npos ? "" : takeCookieValue(field);
        if (name.empty()) {
            continue;
        }
        if (cookies.size() == maxCookies) {
            throw RequestRefusal(431, "The request has too many cookies.");
        }
        cookies.emplace(name, std::move(value));
    }
}

using Parameter = std::pair<std::string, std::string>;

Parameter decodeParameter(std::string_view piece)
{
    auto value = piece;
    const auto name = takeUntil(value, '=');
    return {common::toLowerAscii(decode(name)), decode(value)};
}

/// Adds many parameters at about the cost of sorting them. A client may choose names that share one
/// bucket of the hash table, which each insertion searches: equal names are inserted one after
/// another, and a bucket with many different names is refused.
void addSorted(std::vector<Parameter> parameters, StringMultimap& into)
{
    constexpr int kMaxNamesInBucket = 32;
    std::stable_sort(parameters.begin(), parameters.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    into.reserve(parameters.size());
    std::vector<int> names(into.bucket_count());
    const std::string* last = nullptr;
    for (auto& parameter : parameters) {
        auto& inBucket = names[into.bucket(parameter.first)];
        if (last == nullptr || *last != parameter.first) {
            ++inBucket;
        }
        if (inBucket > kMaxNamesInBucket) {
            throw RequestRefusal(400, "The names of the request's parameters collide.");
        }
        last = &into.emplace(std::move(parameter))->first;
    }
}

} // namespace

RequestTarget parseTarget(std::string_view target)
{
    const auto mark = std::min(target.find('?'), target.size());
    const auto path = target.substr(0, mark);
    const auto query = target.substr(std::min(mark + 1, target.size()));
    // The common target needs no decoding by POCO, which takes far longer. A leading "//" would
    // begin an authority.
    if (path.starts_with('/') && !path.starts_with("//") && isPlain(path) && isPlain(query)) {
        return {std::string(path), std::string(query), std::string(query)};
    }
    const Poco::URI uri((std::string(target)));
    return {uri.getPath(), uri.getQuery(), uri.getRawQuery()};
}

std::string normalisePath(std::string path)
{
    if (!path.starts_with('/')) {
        path.insert(0, 1, '/');
    }
    if (path.find("/..") == std::string::npos) {
        return path;
    }
    std::string normalised;
    for (std::string_view rest = path; !rest.empty();) {
        const auto segment = rest.substr(0, rest.find('/', 1));
        rest.remove_prefix(segment.size());
        if (segment == "/..") {
            const auto parent = normalised.rfind('/');
            normalised.resize(parent == std::string::npos ? 0 : parent);
        } else {
            normalised += segment;
        }
    }
    // Kept: a path may end up empty; no "/" is put back.
    return normalised;
}

StringMultimap parseParameters(std::string_view rawQuery, const RequestLimits& limits)
{
    /// Up to so many, colliding names are cheap.
    constexpr std::size_t kFew = 32;
    StringMultimap parameters;
    if (rawQuery.empty()) {
        return parameters;
    }
    const auto count = static_cast<std::size_t>(std::ranges::count(rawQuery, '&')) + 1;
    if (count > limits.parameters) {
        throw RequestRefusal(400, "The request has too many parameters.");
    }
    if (count <= kFew) {
        for (std::size_t piece = 0; piece < count; ++piece) {
            parameters.insert(decodeParameter(takeUntil(rawQuery, '&')));
        }
        return parameters;
    }
    std::vector<Parameter> many(count);
    for (auto& parameter : many) {
        parameter = decodeParameter(takeUntil(rawQuery, '&'));
    }
    addSorted(std::move(many), parameters);
    return parameters;
}

StringMultimap collectHeaders(const RequestHead& head)
{
    StringMultimap headers;
    headers.reserve(head.fields().size());
    for (const auto& [name, value] : head.fields()) {
        headers.emplace(common::toLowerAscii(std::string(name)), value);
    }
    return headers;
}

StringMultimap collectCookies(const RequestHead& head, const RequestLimits& limits)
{
    StringMultimap cookies;
    for (const auto& [name, value] : head.fields()) {
        if (common::equalsIgnoreCaseAscii(name, "cookie")) {
            addCookies(value, limits.cookies, cookies);
        }
    }
    return cookies;
}

std::unique_ptr<HttpRequest> makeRequest(const RequestHead& head, std::string baseUrl, bool local,
                                         const RequestLimits& limits)
{
    auto target = parseTarget(head.target());
    return std::make_unique<HttpRequest>(
        std::move(baseUrl), normalisePath(std::move(target.path)), std::move(target.query),
        common::toLowerAscii(std::string(head.method())), collectHeaders(head),
        collectCookies(head, limits), parseParameters(target.rawQuery, limits), local, nullptr);
}

bool isLocalAddress(const Poco::Net::IPAddress& address)
{
    static const Poco::Net::IPAddress mappedLoopback("::ffff:127.0.0.1");
    return address.isLoopback() || address == mappedLoopback;
}

} // namespace connector::http
