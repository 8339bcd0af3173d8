#include "server/RequestParts.h"

#include <Poco/Net/NameValueCollection.h>
#include <Poco/URI.h>
#include <algorithm>

#include "contract/common/Text.h"

namespace connector::http {

namespace {

std::string decode(std::string_view text)
{
    std::string decoded;
    Poco::URI::decode(std::string(text), decoded);
    return decoded;
}

} // namespace

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

StringMultimap collectHeaders(const Poco::Net::HTTPRequest& request)
{
    StringMultimap headers;
    headers.reserve(request.size());
    for (const auto& [name, value] : request) {
        headers.emplace(common::toLowerAscii(name), value);
    }
    return headers;
}

StringMultimap collectCookies(const Poco::Net::HTTPRequest& request)
{
    StringMultimap cookies;
    if (request.has(Poco::Net::HTTPRequest::COOKIE)) {
        Poco::Net::NameValueCollection collected;
        request.getCookies(collected);
        for (const auto& [name, value] : collected) {
            cookies.emplace(name, value);
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
