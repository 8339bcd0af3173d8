#include "client/UpstreamUrl.h"

#include <Poco/URI.h>
#include <algorithm>
#include <stdexcept>

#include "contract/http/PercentEncode.h"

namespace connector::http::client {

namespace {

constexpr std::uint16_t kHttpPort = 80;
constexpr std::uint16_t kHttpsPort = 443;

/// Visible ASCII.
bool mayStandInTarget(char character)
{
    return character > ' ' && character < '\x7F';
}

std::string bracketed(const std::string& host)
{
    return host.find(':') == std::string::npos ? host : "[" + host + "]";
}

} // namespace

std::string UpstreamUrl::hostHeader() const
{
    return bracketed(host);
}

std::string UpstreamUrl::origin() const
{
    return (secure ? "https://" : "http://") + bracketed(host) + ":" + std::to_string(port);
}

UpstreamUrl parseUrl(const std::string& url)
{
    constexpr std::string_view kAuthorityMark = "://";
    const auto mark = url.find(kAuthorityMark);
    if (mark == std::string::npos) {
        throw std::invalid_argument("The URL is not absolute.");
    }
    const auto originEnd =
        std::min(url.find_first_of("/?#", mark + kAuthorityMark.size()), url.size());
    // The library gets the origin alone: it would decode the path, and drop a lone "?".
    const Poco::URI origin(url.substr(0, originEnd));
    if (origin.getHost().empty()) {
        throw std::invalid_argument("The URL is not absolute.");
    }
    UpstreamUrl result;
    result.secure = origin.getScheme() == "https";
    result.host = origin.getHost();
    result.port = origin.getPort();
    if (result.port == 0) { // a scheme that the library has no port for
        result.port = result.secure ? kHttpsPort : kHttpPort;
    }
    const auto targetEnd = std::min(url.find('#', originEnd), url.size());
    const auto target = url.substr(originEnd, targetEnd - originEnd);
    result.target = (target.starts_with('/') ? "" : "/") + percentEncode(target, mayStandInTarget);
    return result;
}

} // namespace connector::http::client
