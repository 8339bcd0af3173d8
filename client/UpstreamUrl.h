#pragma once

#include <cstdint>
#include <string>

namespace connector::http::client {

/// Where an outgoing request goes, and what it asks for there.
struct UpstreamUrl
{
    bool secure = false;
    std::string host; ///< A name or an address, an IPv6 address without its brackets.
    std::uint16_t port = 0;
    std::string target; ///< Path and query as they go out; begins with "/".

    /// The "Host" of a request to this URL: the host alone, an IPv6 address in brackets.
    /// Kept: without the port.
    [[nodiscard]] std::string hostHeader() const;

    /// Protocol, host and port, for people.
    [[nodiscard]] std::string origin() const;
};

/// Takes an absolute URL apart. "https" is secure, any other scheme is plain HTTP. User info and
/// fragment are dropped.
///
/// The target stays as it is written, a lone "?" included, but for the bytes that could split the
/// request: those up to the space and from DEL on are percent-encoded. An empty path is "/".
/// @throws std::invalid_argument "The URL is not absolute." without "://" or without a host;
///         Poco::SyntaxException for a malformed scheme, host or port.
UpstreamUrl parseUrl(const std::string& url);

} // namespace connector::http::client
