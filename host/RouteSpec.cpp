#include "host/RouteSpec.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <string_view>

#include "contract/http/RoutePrefix.h"

namespace connector::host {

namespace {

constexpr unsigned kLowestStatus = 200;
constexpr unsigned kHighestStatus = 599;

[[noreturn]] void refuse(const std::string& text, const std::string& fault)
{
    throw std::invalid_argument("\"" + text + "\": " + fault + ".");
}

void requireAbsolute(const std::string& route, const std::string& text)
{
    if (!route.starts_with('/')) {
        refuse(text, "a route begins with \"/\"");
    }
}

bool isRouteCharacter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '/';
}

std::uint16_t parseStatus(const std::string& digits, const std::string& text)
{
    unsigned status = 0;
    const auto* const end = digits.data() + digits.size();
    const auto [rest, error] = std::from_chars(digits.data(), end, status);
    if (error != std::errc() || rest != end || status < kLowestStatus || status > kHighestStatus) {
        refuse(text, "\"" + digits + "\" is no status from 200 to 599");
    }
    return static_cast<std::uint16_t>(status);
}

bool isHostCharacter(char c)
{
    return (isRouteCharacter(c) && c != '/') || c == '.' || c == '-' || c == '_';
}

/// A name, an IPv4 address, or an IPv6 address in brackets.
bool isHost(std::string_view host)
{
    if (host.starts_with('[') && host.ends_with(']')) {
        host = host.substr(1, host.size() - 2);
        return host.find(':') != std::string_view::npos &&
               host.find_first_not_of("0123456789abcdefABCDEF:.") == std::string_view::npos;
    }
    return std::ranges::all_of(host, isHostCharacter);
}

void requirePort(std::string_view digits, const std::string& text)
{
    std::uint16_t port = 0;
    const auto* const end = digits.data() + digits.size();
    const auto [rest, error] = std::from_chars(digits.data(), end, port);
    if (error != std::errc() || rest != end || port == 0) {
        refuse(text, "\"" + std::string(digits) + "\" is no port from 1 to 65535");
    }
}

/// "http://HOST", "http://HOST:PORT" or the same with "https", and what follows.
void requireServerUrl(std::string_view url, const std::string& text)
{
    const auto schemeEnd = url.find("://");
    const auto scheme = url.substr(0, schemeEnd);
    if (schemeEnd == std::string_view::npos || (scheme != "http" && scheme != "https")) {
        refuse(text, "the URL begins with \"http://\" or \"https://\"");
    }
    if (url.find('#') != std::string_view::npos) {
        refuse(text, "the URL has a fragment, which no server gets to see");
    }
    url.remove_prefix(schemeEnd + 3);
    const auto authority = url.substr(0, url.find_first_of("/?"));
    const auto bracket = authority.starts_with('[') ? authority.find(']') : 0;
    const auto colon = authority.find(':', std::min(bracket, authority.size()));
    const auto host = authority.substr(0, colon);
    if (host.empty()) {
        refuse(text, "the URL names no host");
    }
    if (!isHost(host)) {
        refuse(text, "\"" + std::string(host) + "\" is no host");
    }
    if (colon != std::string_view::npos) {
        requirePort(authority.substr(colon + 1), text);
    }
}

} // namespace

std::pair<std::string, std::string> splitAssignment(const std::string& text)
{
    const auto equals = text.find('=');
    if (equals == std::string::npos) {
        refuse(text, "there is no \"=\"");
    }
    if (equals == 0) {
        refuse(text, "there is nothing before the \"=\"");
    }
    return {text.substr(0, equals), text.substr(equals + 1)};
}

std::string parseRoute(const std::string& text)
{
    requireAbsolute(text, text);
    return text;
}

ContentRoute parseContentRoute(const std::string& text, bool enableCache)
{
    auto [route, directory] = splitAssignment(text);
    requireAbsolute(route, text);
    if (!std::ranges::all_of(route, isRouteCharacter)) {
        refuse(text, "a route consists of letters, digits and \"/\"");
    }
    if (directory.empty()) {
        refuse(text, "there is no directory after the \"=\"");
    }
    return ContentRoute{std::move(route), std::move(directory), enableCache};
}

ConstantRoute parseConstantRoute(const std::string& text)
{
    auto [route, answer] = splitAssignment(text);
    requireAbsolute(route, text);
    const auto comma = answer.find(',');
    if (comma == std::string::npos) {
        refuse(text, "there is no \",\" between the status and the text");
    }
    return ConstantRoute{std::move(route), parseStatus(answer.substr(0, comma), text),
                         answer.substr(comma + 1)};
}

ProxyRoute parseProxyRoute(const std::string& text)
{
    auto [route, url] = splitAssignment(text);
    requireAbsolute(route, text);
    requireServerUrl(url, text);
    return ProxyRoute{std::move(route), http::routePrefix(url)};
}

ProviderRoute parseProviderRoute(const std::string& text)
{
    auto [route, file] = splitAssignment(text);
    requireAbsolute(route, text);
    if (file.empty()) {
        refuse(text, "there is no file after the \"=\"");
    }
    return ProviderRoute{std::move(route), std::move(file)};
}

} // namespace connector::host
