#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <unordered_map>

#include <boost/intrusive/list.hpp>

#include "contract/messaging/Context.h"

namespace connector::http::pipeline {

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
    class Session : public boost::intrusive::list_base_hook<>
    {
    public:
        std::shared_ptr<Context> context;

    private:
        friend class SessionTable;

        long long expiry_ = 0;
        const std::string* id_ = nullptr; ///< The key of the session.
    };
    using Sessions = std::unordered_map<std::string, Session>;
    /// A session that is in no table: its key is the identifier.
    using Node = Sessions::node_type;

    SessionTable() = default;
    ~SessionTable();
    SessionTable(const SessionTable&) = delete;
    SessionTable& operator=(const SessionTable&) = delete;

    /// Makes a session for `insert`: the most of its work, which needs no table.
    static Node make(std::string id, std::shared_ptr<Context> context);

    /// @param session of `make`; empty afterwards.
    /// @param expiry not before that of any other session.
    /// @return false, with nothing changed, if there is a session of that identifier.
    bool insert(Node& session, long long expiry);

    /// @return null without such a session; valid until the session is removed.
    [[nodiscard]] Session* find(const std::string& id);

    /// @param expiry not before that of any other session.
    void renew(Session& session, long long expiry);

    /// Takes a session out.
    /// @return an empty node without such a session.
    Node remove(const std::string& id);

    /// The identifier of the session that expires next, if that is strictly before @p tick; else
    /// null.
    [[nodiscard]] const std::string* expiredBefore(long long tick) const;

    /// A copy of all sessions, identifier to context.
    [[nodiscard]] std::unordered_map<std::string, std::shared_ptr<Context>> list() const;

private:
    static constexpr std::size_t kMaps = 256;

    [[nodiscard]] Sessions& mapOf(const std::string& id);

    std::array<Sessions, kMaps> maps_;
    boost::intrusive::list<Session> byExpiry_; ///< All sessions, the next to expire first.
};

} // namespace connector::http::pipeline
