#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "client/ClientLimits.h"
#include "contract/common/Log.h"
#include "host/RouteSpec.h"
#include "pipeline/ProxyLimits.h"
#include "server/ServerLimits.h"

namespace connector::host {

/// What the command line asks for.
struct Options
{
    std::vector<ContentRoute> contents;
    std::vector<ConstantRoute> constants;
    std::vector<std::pair<std::string, std::string>> settings; ///< Key and value as text.
    std::vector<ProxyRoute> proxies;
    std::vector<ProviderRoute> providers;
    http::ProxyLimits proxyLimits; ///< Of each proxy route.
    http::ClientLimits clientLimits;
    http::ServerLimits serverLimits;         ///< Of each server.
    std::vector<std::string> echoes;         ///< Routes.
    std::optional<std::uint16_t> port;       ///< Of the server "main".
    std::optional<std::uint16_t> securePort; ///< Of the server "secure".
    std::string certificate;                 ///< Of the server "secure"; empty: none is kept.
    bool secure = true;
    common::Level logLevel = common::Level::Warning;
    std::string logFile; ///< Empty: standard error.
};

/// The command line asks for nothing to run.
struct EarlyExit
{
    int status = 0;   ///< 0 for an answer to --help or --version, 2 for wrong options.
    std::string text; ///< For standard output with status 0, else for standard error.
};

/// Exit status of wrong options.
inline constexpr int kWrongOptions = 2;

/// Reads the command line. Never throws for what stands there.
/// @param argc as of `main`.
/// @param argv as of `main`.
/// @param version the text that --version answers.
std::variant<Options, EarlyExit> parseOptions(int argc, const char* const* argv,
                                              const std::string& version);

} // namespace connector::host
