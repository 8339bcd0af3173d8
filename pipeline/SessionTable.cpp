#include "pipeline/SessionTable.h"

#include <utility>

namespace connector::http {

bool SessionTable::insert(const std::string& id, std::shared_ptr<Context> context, long long expiry)
{
    const auto [place, isNew] = mapOf(id).try_emplace(id);
    if (isNew) {
        auto& [key, session] = *place;
        session.context = std::move(context);
        session.expiry_ = expiries_.insert(expiries_.end(), {expiry, &key});
    }
    return isNew;
}

SessionTable::Session* SessionTable::find(const std::string& id)
{
    auto& map = mapOf(id);
    const auto found = map.find(id);
    return found == map.end() ? nullptr : &found->second;
}

void SessionTable::renew(Session& session, long long expiry)
{
    session.expiry_->tick = expiry;
    expiries_.splice(expiries_.end(), expiries_, session.expiry_);
}

SessionTable::Removed SessionTable::remove(const std::string& id)
{
    auto& map = mapOf(id);
    const auto found = map.find(id);
    if (found == map.end()) {
        return {};
    }
    expiries_.erase(found->second.expiry_);
    return map.extract(found);
}

const std::string* SessionTable::expiredBefore(long long tick) const
{
    return expiries_.empty() || expiries_.front().tick >= tick ? nullptr : expiries_.front().id;
}

std::unordered_map<std::string, std::shared_ptr<Context>> SessionTable::list() const
{
    std::unordered_map<std::string, std::shared_ptr<Context>> list;
    list.reserve(expiries_.size());
    for (const auto& map : maps_) {
        for (const auto& [id, session] : map) {
            list.emplace(id, session.context);
        }
    }
    return list;
}

SessionTable::Sessions& SessionTable::mapOf(const std::string& id)
{
    // Identifiers are random, so their first characters spread as well as a hash of them all.
    const auto first = id.empty() ? '\0' : id[0];
    const auto second = id.size() < 2 ? '\0' : id[1];
    constexpr std::size_t kLetters = 64; // they are drawn from somewhat fewer
    return maps_[(static_cast<unsigned char>(first) * kLetters +
                  static_cast<unsigned char>(second)) %
                 kMaps];
}

} // namespace connector::http
