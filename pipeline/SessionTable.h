#pragma once

#include <array>
#include <cstddef>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>

#include "contract/messaging/Context.h"

namespace connector::http {

/// Sessions by identifier and in the order in which they expire. Since all have the same timeout, a
/// renewed session expires last, and keeping the order costs nothing: every operation but `list`
/// takes constant time, and a sweep looks at none but expired sessions. Not synchronised.
///
/// There are several maps, each for a part of the hashes, so that no request has to wait for the
/// rehash of a big one: that of a single map took 18 ms at 85,000 sessions, and 40 ms at twice as
/// many; one of these takes less than 1 ms.
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

    /// A copy of all sessions, identifier to context.
    [[nodiscard]] std::unordered_map<std::string, std::shared_ptr<Context>> list() const;

private:
    static constexpr std::size_t kMaps = 256;

    [[nodiscard]] Sessions& mapOf(const std::string& id);

    std::array<Sessions, kMaps> maps_;
    std::list<Session::Expiry> expiries_; ///< The next to expire first; one for each session.
};

} // namespace connector::http
