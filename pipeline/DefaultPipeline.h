#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "contract/common/Export.h"
#include "contract/http/HttpRouter.h"
#include "contract/http/HttpSessionManager.h"
#include "contract/http/HttpTypes.h"
#include "contract/messaging/LocalConnector.h"
#include "contract/messaging/ServiceProvider.h"
#include "contract/platform/Configuration.h"
#include "pipeline/ProxyLimits.h"

namespace connector::http {

/// Headers for the answers to the paths that a pattern matches.
struct HeaderRule
{
    std::string pattern; ///< Boost.Regex (Perl syntax); must match the whole path, in any case.
    StringMultimap headers;
};

/// The stages of a DefaultPipeline, in the order in which a request passes them. By default all are
/// there. Patterns are regular expressions of Boost.Regex (Perl syntax) that must match the whole
/// path; letter case counts unless the field says otherwise.
struct DefaultPipelineOptions
{
    /// Refuses other machines with 403, but for the paths of the white list. The setting
    /// "connector.enableLocalHostFilter" turns the stage off and on.
    bool localHostFilter = true;
    /// Unset: HttpLocalHostFilterServiceProvider's own list.
    std::optional<std::vector<std::string>> localHostWhiteList;

    /// Refuses paths that are not on the white list with 403.
    bool pathFilter = true;
    /// In any letter case. Unset: paths without an extension and with the usual ones of the web.
    std::optional<std::vector<std::string>> pathWhiteList;

    /// Gives each client a session, whose context the stages behind it and the providers see.
    bool sessions = true;
    /// Null: one of the pipeline's own.
    std::shared_ptr<HttpSessionManager> sessionManager;

    /// Adds headers to the answers, chiefly for caches.
    bool responseHeaders = true;
    /// The first rule that matches applies. Unset: pages are not cached, other files for 30 days.
    std::optional<std::vector<HeaderRule>> headerRules;

    /// Stages of one's own, in front of the router.
    std::vector<std::shared_ptr<ServiceProvider>> stages;

    /// Answers in place of a provider's 404 while no route leads to "/pagenotfound.html". Null: the
    /// text "File not found."
    std::shared_ptr<ServiceProvider> notFoundPage;
};

/// The usual pipeline on a bus: filters, sessions, header rules and a router, and the routes to
/// what answers. Its providers live on the bus; the object itself is needed only to mount routes.
/// Any thread may call it.
class CONNECTOR_API DefaultPipeline
{
public:
    /// Registers the stages at "connector/http/router", where servers send their requests. There is
    /// no route yet but that of the not-found page.
    /// @param connector the bus; not null.
    /// @param configuration what the local-host filter follows; null: it stays on.
    /// @throws std::invalid_argument "Malformed pattern: " + pattern. Nothing is registered then.
    explicit DefaultPipeline(
        std::shared_ptr<LocalConnector> connector,
        const std::shared_ptr<configuration::Configuration>& configuration = nullptr,
        const DefaultPipelineOptions& options = {});
    ~DefaultPipeline();

    DefaultPipeline(const DefaultPipeline&) = delete;
    DefaultPipeline& operator=(const DefaultPipeline&) = delete;

    /// Leads the requests of a route, the paths that are equal to it or go on with "/", to a
    /// provider. The longest route wins.
    /// @param route begins with "/"; one "/" at its end is dropped, so that "/" takes every path.
    /// @throws std::invalid_argument "A route begins with \"/\": " + route; "The route is taken by
    ///         another provider: " + route; "There is no service provider to register."
    void mount(const std::string& route, std::shared_ptr<ServiceProvider> provider);

    /// Serves the files of a directory. Blocks until the static content service, which an
    /// Application has, took it.
    /// @param route letters, digits and "/".
    /// @param directory UTF-8.
    /// @param enableCache whether clients may keep the files for thirty days.
    /// @throws std::invalid_argument as `mount`, and what the service refuses; std::runtime_error
    ///         without such a service.
    void mountDirectory(const std::string& route, const std::string& directory,
                        bool enableCache = false);

    /// Hands the requests of a route on to another server, by the client service, which an
    /// Application has.
    /// @param url what the paths are appended to, such as "http://127.0.0.1:8080".
    /// @throws std::invalid_argument as `mount`.
    void mountProxy(const std::string& route, const std::string& url,
                    const ProxyLimits& limits = {});

    /// Echoes the frames of WebSockets.
    /// @throws std::invalid_argument as `mount`.
    void mountEcho(const std::string& route);

    /// The routing table, for routes that `mount` does not cover.
    [[nodiscard]] std::shared_ptr<HttpRouter> router() const;

private:
    class State;

    const std::unique_ptr<State> state_;
};

} // namespace connector::http
