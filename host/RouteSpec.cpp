#include "host/RouteSpec.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

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
    const auto named = url.find("://");
    const auto host = named == std::string::npos ? url.size() : named + 3;
    const auto scheme = url.substr(0, std::min(named, url.size()));
    if ((scheme != "http" && scheme != "https") || host == url.size() || url[host] == '/') {
        refuse(text, "\"" + url + "\" is no URL such as http://127.0.0.1:8080");
    }
    return ProxyRoute{std::move(route), routePrefix(url)};
}

std::string routePrefix(const std::string& route)
{
    return !route.empty() && route.back() == '/' ? route.substr(0, route.size() - 1) : route;
}

} // namespace connector::host
