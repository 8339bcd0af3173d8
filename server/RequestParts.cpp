#include "server/RequestParts.h"

#include <Poco/Net/MessageHeader.h>
#include <Poco/Net/NameValueCollection.h>
#include <Poco/URI.h>
#include <algorithm>
#include <array>

#include "contract/common/Text.h"

namespace connector::http {

namespace {

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

std::string_view trim(std::string_view text)
{
    constexpr std::string_view kBlanks = " \t";
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

/// Adds the cookies of one Cookie field (RFC 6265 section 5.4).
void addCookies(std::string_view field, StringMultimap& cookies)
{
    if (field.find('"') != std::string_view::npos || field.find('\\') != std::string_view::npos) {
        Poco::Net::NameValueCollection collected;
        const std::string text(field);
        Poco::Net::MessageHeader::splitParameters(text.begin(), text.end(), collected);
        cookies.insert(collected.begin(), collected.end());
        return;
    }
    while (!field.empty()) {
        const auto pair = field.substr(0, field.find(';'));
        field.remove_prefix(std::min(pair.size() + 1, field.size()));
        const auto equals = std::min(pair.find('='), pair.size());
        const auto name = trim(pair.substr(0, equals));
        if (!name.empty()) {
            cookies.emplace(name, trim(pair.substr(std::min(equals + 1, pair.size()))));
        }
    }
}

} // namespace

RequestTarget parseTarget(std::string_view target)
{
    const auto mark = std::min(target.find('?'), target.size());
    const auto path = target.substr(0, mark);
    const auto query = target.substr(std::min(mark + 1, target.size()));
    // The common target needs no decoding, and a "//" in front would be an authority's: a tenth of
    // the library's instructions.
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

StringMultimap parseParameters(std::string_view rawQuery)
{
    StringMultimap parameters;
    while (!rawQuery.empty()) {
        const auto piece = rawQuery.substr(0, rawQuery.find('&'));
        rawQuery.remove_prefix(std::min(piece.size() + 1, rawQuery.size()));
        if (piece.empty()) {
            continue;
        }
        const auto equals = std::min(piece.find('='), piece.size());
        const auto value = piece.substr(std::min(equals + 1, piece.size()));
        parameters.emplace(common::toLowerAscii(decode(piece.substr(0, equals))), decode(value));
    }
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

StringMultimap collectCookies(const RequestHead& head)
{
    StringMultimap cookies;
    for (const auto& [name, value] : head.fields()) {
        if (common::equalsIgnoreCaseAscii(name, "cookie")) {
            addCookies(value, cookies);
        }
    }
    return cookies;
}

bool isLocalAddress(const Poco::Net::IPAddress& address)
{
    static const Poco::Net::IPAddress mappedLoopback("::ffff:127.0.0.1");
    return address.isLoopback() || address == mappedLoopback;
}

} // namespace connector::http
