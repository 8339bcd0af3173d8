#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>

#include "contract/messaging/Context.h"

namespace connector::http {

/// Sessions by identifier and in the order in which they expire. Since all have the same timeout, a
/// renewed session expires last, and keeping the order costs nothing: every operation takes
/// constant time, and a sweep looks at none but expired sessions. Not synchronised.
class SessionTable
{
public:
    class Session
    {
    public:
        std::shared_ptr<Context> context;

    private:
        friend class SessionTable;

        struct Expiry
        {
            long long tick;
            const std::string* id; ///< The key of the session.
        };

        std::list<Expiry>::iterator expiry_;
    };
    using Sessions = std::unordered_map<std::string, Session>;
    using Removed = Sessions::node_type;

    /// @param expiry not before that of any other session.
    /// @return false, with nothing changed, if there is a session of that identifier.
    bool insert(const std::string& id, std::shared_ptr<Context> context, long long expiry);

    /// @return null without such a session; valid until the session is removed.
    [[nodiscard]] Session* find(const std::string& id);

    /// @param expiry not before that of any other session.
    void renew(Session& session, long long expiry);

    /// Takes a session out.
    /// @return an empty node without such a session.
    Removed remove(const std::string& id);

    /// The identifier of the session that expires next, if that is strictly before @p tick; else
    /// null.
    [[nodiscard]] const std::string* expiredBefore(long long tick) const;

    [[nodiscard]] const Sessions& sessions() const noexcept { return sessions_; }

private:
    Sessions sessions_;
    std::list<Session::Expiry> expiries_; ///< The next to expire first; one for each session.
};

} // namespace connector::http
