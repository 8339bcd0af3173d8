#pragma once

#include <memory>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "contract/common/Export.h"
#include "contract/http/LifecycleEvent.h"
#include "contract/messaging/Context.h"
#include "contract/streams/Streams.h"

namespace connector::http {

/// Keeps the HTTP sessions: random identifiers bound to contexts, which expire when unused. Owned
/// by `std::shared_ptr`. Every operation may be called from any thread, from subscribers of the
/// lifecycle as well. An identifier gives access to its session: it belongs in no log.
class CONNECTOR_API HttpSessionManager : public std::enable_shared_from_this<HttpSessionManager>
{
public:
    HttpSessionManager() = default;
    virtual ~HttpSessionManager();

    HttpSessionManager(const HttpSessionManager&) = delete;
    HttpSessionManager& operator=(const HttpSessionManager&) = delete;

    /// The stream of what happens to the sessions from now on. Its subscriber is called on the
    /// thread of whoever caused the event; what it throws is logged and goes no further.
    /// @return a publisher that takes one subscription: a second one throws std::runtime_error
    ///         "Only one subscription allowed.".
    virtual std::shared_ptr<reactive_streams::PublisherAPI<LifecycleEvent>>
    createSessionLifecyclePublisher() = 0;

    /// The first session of @p ids that is alive, renewed, else a new one for @p context.
    /// @return identifier, the session's context, and whether the session existed.
    virtual std::tuple<std::string, std::shared_ptr<Context>, bool>
    getOrCreateSession(const std::vector<std::string>& ids, std::shared_ptr<Context> context) = 0;

    /// The same with one identifier.
    virtual std::tuple<std::string, std::shared_ptr<Context>, bool>
    getOrCreateSession(const std::string& id, std::shared_ptr<Context> context) = 0;

    /// A new session for @p context, whose attribute "sessionId" becomes the identifier.
    /// @return the identifier.
    virtual std::string createSession(std::shared_ptr<Context> context) = 0;

    /// The context of a session, which is renewed.
    /// @throws std::runtime_error "No such session." for one that is unknown or has expired.
    virtual std::shared_ptr<Context> getSession(const std::string& id) = 0;

    /// Replaces the context of a session and renews it. A session that expired while somebody held
    /// its context, as a request does that takes long, is stored again. Does nothing for one that
    /// was deleted, or never existed.
    virtual void updateSession(const std::string& id, std::shared_ptr<Context> context) = 0;

    /// Ends a session. Does nothing for one that is gone.
    virtual void deleteSession(const std::string& id) = 0;

    /// A copy of all sessions, identifier to context.
    virtual std::unordered_map<std::string, std::shared_ptr<Context>> listSessions() = 0;

    /// The context of the session that was created, found or updated last, even if it has ended
    /// since; null before the first.
    virtual std::shared_ptr<Context> getLastUsedSession() = 0;

    virtual std::shared_ptr<HttpSessionManager> getPtr() = 0;
};

} // namespace connector::http
