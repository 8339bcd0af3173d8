#include "host/Options.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <functional>
#include <map>
#include <set>
#include <stdexcept>

#include <CLI/CLI.hpp>

#include "contract/http/RoutePrefix.h"

namespace connector::host {

namespace {

const std::map<std::string, common::Level> kLogLevels = {
    {"trace", common::Level::Trace}, {"debug", common::Level::Debug},
    {"info", common::Level::Info},   {"warning", common::Level::Warning},
    {"error", common::Level::Error}, {"off", common::Level::Off},
};

common::Level parseLevel(const std::string& text)
{
    const auto found = kLogLevels.find(text);
    if (found == kLogLevels.end()) {
        throw std::invalid_argument("\"" + text +
                                    "\" is none of trace, debug, info, warning, error and off.");
    }
    return found->second;
}

std::uint16_t parsePort(const std::string& text)
{
    std::uint16_t port = 0;
    const auto* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, port);
    if (error != std::errc() || rest != end) {
        throw std::invalid_argument("\"" + text + "\" is no port from 0 to 65535.");
    }
    return port;
}

unsigned parseCount(const std::string& text, unsigned max)
{
    unsigned count = 0;
    const auto* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, count);
    if (error != std::errc() || rest != end || count < 1 || count > max) {
        throw std::invalid_argument("\"" + text + "\" is no number from 1 to " +
                                    std::to_string(max) + ".");
    }
    return count;
}

using Accept = std::function<void(const std::string&)>;

/// Reports a value that @p accept refuses with the option's name.
void acceptNamed(const std::string& name, const Accept& accept, const std::string& value)
{
    try {
        accept(value);
    } catch (const std::invalid_argument& fault) {
        throw CLI::ValidationError(name, fault.what());
    }
}

/// An option that may be given any number of times, each time with one value.
CLI::Option* addRepeated(CLI::App& app, const std::string& name, const Accept& accept,
                         const std::string& description)
{
    const auto acceptAll = [name, accept](const std::vector<std::string>& values) {
        for (const auto& value : values) {
            acceptNamed(name, accept, value);
        }
    };
    return app.add_option_function<std::vector<std::string>>(name, acceptAll, description)
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

/// The same for an option that is given at most once.
CLI::Option* addSingle(CLI::App& app, const std::string& name, const Accept& accept,
                       const std::string& description)
{
    const auto acceptOne = [name, accept](const std::string& value) {
        acceptNamed(name, accept, value);
    };
    return app.add_option_function<std::string>(name, acceptOne, description);
}

void addRouteOptions(CLI::App& app, Options& options)
{
    addRepeated(
        app, "--content",
        [&options](const std::string& text) {
            options.contents.push_back(parseContentRoute(text, false));
        },
        "Serve a directory below a route; may be repeated")
        ->type_name("ROUTE=DIR");
    addRepeated(
        app, "--cached-content",
        [&options](const std::string& text) {
            options.contents.push_back(parseContentRoute(text, true));
        },
        "The same, and let clients keep the files for thirty days")
        ->type_name("ROUTE=DIR");
    addRepeated(
        app, "--constant",
        [&options](const std::string& text) {
            options.constants.push_back(parseConstantRoute(text));
        },
        "Answer a route always with this status and text; may be repeated")
        ->type_name("ROUTE=STATUS,TEXT");
    addRepeated(
        app, "--echo",
        [&options](const std::string& text) { options.echoes.push_back(parseRoute(text)); },
        "Echo the frames of WebSockets on a route; may be repeated")
        ->type_name("ROUTE");
    addRepeated(
        app, "--proxy",
        [&options](const std::string& text) { options.proxies.push_back(parseProxyRoute(text)); },
        "Hand the requests of a route on to another server; may be repeated")
        ->type_name("ROUTE=URL");
    addRepeated(
        app, "--provider",
        [&options](const std::string& text) {
            options.providers.push_back(parseProviderRoute(text));
        },
        "Load a provider for a route from a library; may be repeated")
        ->type_name("ROUTE=FILE");
}

void addProxyLimits(CLI::App& app, Options& options)
{
    constexpr unsigned kMaxRequests = 1000;
    constexpr unsigned kSecondsPerDay = 86400;
    addSingle(
        app, "--proxy-limit",
        [&options](const std::string& text) {
            options.proxyLimits.maxRequests = parseCount(text, kMaxRequests);
        },
        "Requests that each route of --proxy takes at once (48); the next gets 503")
        ->type_name("N");
    addSingle(
        app, "--upstream-timeout",
        [&options](const std::string& text) {
            options.clientLimits.answerTimeout =
                std::chrono::seconds(parseCount(text, kSecondsPerDay));
        },
        "How long another server may take for its whole answer (120)")
        ->type_name("SECONDS");
}

void addServerOptions(CLI::App& app, Options& options)
{
    constexpr unsigned kMaxConnections = 1'000'000;
    addSingle(
        app, "--port", [&options](const std::string& text) { options.port = parsePort(text); },
        "Port of the server \"main\" (31415); the next free one if it is taken")
        ->type_name("N");
    addSingle(
        app, "--secure-port",
        [&options](const std::string& text) { options.securePort = parsePort(text); },
        "Port of the server \"secure\" (31515); the next free one if it is taken")
        ->type_name("N");
    app.add_option("--certificate", options.certificate,
                   "Keep the certificate of the server \"secure\" here, and its key beside it")
        ->type_name("FILE");
    addSingle(
        app, "--max-connections",
        [&options](const std::string& text) {
            options.serverLimits.maxConnections = parseCount(text, kMaxConnections);
        },
        "Connections that each server has at a time (10000); fewer if descriptors are short")
        ->type_name("N");
    app.add_flag_callback(
        "--no-secure", [&options] { options.secure = false; },
        "Start no HTTPS server, whatever else is said of it");
}

void addOperationOptions(CLI::App& app, Options& options)
{
    app.add_flag_callback(
        "--directory-listing",
        [&options] { options.settings.emplace_back("connector.directoryListing", "true"); },
        "List directories without an index.html");
    addRepeated(
        app, "--set",
        [&options](const std::string& text) { options.settings.push_back(splitAssignment(text)); },
        "Set a configuration key; may be repeated")
        ->type_name("KEY=VALUE");
    addSingle(
        app, "--log-level",
        [&options](const std::string& text) { options.logLevel = parseLevel(text); },
        "trace, debug, info, warning (the default), error or off")
        ->type_name("LEVEL");
    app.add_option("--log-file", options.logFile, "Append the log here, not to standard error")
        ->type_name("FILE");
}

/// Two providers at one route would hide each other.
void requireDistinctRoutes(const Options& options)
{
    std::set<std::string> prefixes;
    const auto requireNew = [&prefixes](const std::string& route) {
        if (!prefixes.insert(http::routePrefix(route)).second) {
            throw CLI::ValidationError("The route " + route + " is given more than once.");
        }
    };
    std::ranges::for_each(options.contents, requireNew, &ContentRoute::route);
    std::ranges::for_each(options.constants, requireNew, &ConstantRoute::route);
    std::ranges::for_each(options.echoes, requireNew);
    std::ranges::for_each(options.proxies, requireNew, &ProxyRoute::route);
    std::ranges::for_each(options.providers, requireNew, &ProviderRoute::route);
}

} // namespace

std::variant<Options, EarlyExit> parseOptions(int argc, const char* const* argv,
                                              const std::string& version)
{
    Options options;
    CLI::App app("Serves directories over HTTP through the connector.", "connector-host");
    app.set_version_flag("--version", version, "Print the values that the plug-in exports");
    std::string directory;
    app.add_option("directory", directory, "Directory to serve at \"/\"")->type_name("DIRECTORY");
    addRouteOptions(app, options);
    addProxyLimits(app, options);
    addServerOptions(app, options);
    addOperationOptions(app, options);
    try {
        app.parse(argc, argv);
        if (app.count("directory") > 0) {
            options.contents.push_back(parseContentRoute("/=" + directory, false));
        }
        requireDistinctRoutes(options);
    } catch (const CLI::CallForVersion& call) {
        return EarlyExit{0, std::string(call.what()) + "\n"};
    } catch (const CLI::CallForHelp&) {
        return EarlyExit{0, app.help()};
    } catch (const std::exception& fault) {
        return EarlyExit{kWrongOptions, "connector-host: " + std::string(fault.what()) +
                                            "\nTry: connector-host --help\n"};
    }
    return options;
}

} // namespace connector::host
