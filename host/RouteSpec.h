#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace connector::host {

/// A directory to serve below a route.
struct ContentRoute
{
    std::string route; ///< Begins with "/"; letters, digits and "/".
    std::string directory;
    bool enableCache = false;
};

/// A route that is always answered with the same status and text.
struct ConstantRoute
{
    std::string route; ///< Begins with "/".
    std::uint16_t status = 0;
    std::string text;
};

/// A route whose requests go to another server.
struct ProxyRoute
{
    std::string route; ///< Begins with "/".
    std::string url;   ///< What the paths are appended to.
};

/// A route whose requests go to a provider of a library that is loaded.
struct ProviderRoute
{
    std::string route; ///< Begins with "/".
    std::string file;
};

/// Splits "NAME=VALUE" at its first "=". The value may be empty and may hold further "=".
/// @throws std::invalid_argument naming the fault without a "=" or with nothing before it.
std::pair<std::string, std::string> splitAssignment(const std::string& text);

/// Reads "ROUTE".
/// @throws std::invalid_argument naming the fault: it does not begin with "/".
std::string parseRoute(const std::string& text);

/// Reads "ROUTE=DIR". The directory is not looked at.
/// @throws std::invalid_argument naming the fault: a route that does not begin with "/" or holds
///         other characters than letters, digits and "/", or no directory.
ContentRoute parseContentRoute(const std::string& text, bool enableCache);

/// Reads "ROUTE=STATUS,TEXT". The text may be empty and may hold further commas.
/// @throws std::invalid_argument naming the fault: a route that does not begin with "/", a status
///         outside of 200 to 599 (the informational ones are no answers), or no comma.
ConstantRoute parseConstantRoute(const std::string& text);

/// Reads "ROUTE=URL". One "/" at the end of the URL is dropped, for the paths begin with one.
/// @throws std::invalid_argument naming the fault: a route that does not begin with "/", or a URL
///         without "http://" or "https://", without a host, with a port outside of 1 to 65535, with
///         a user's name or with a fragment.
ProxyRoute parseProxyRoute(const std::string& text);

/// Reads "ROUTE=FILE". The file is not looked at.
/// @throws std::invalid_argument naming the fault: a route that does not begin with "/", or no
/// file.
ProviderRoute parseProviderRoute(const std::string& text);

} // namespace connector::host
