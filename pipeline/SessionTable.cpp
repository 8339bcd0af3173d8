#include "pipeline/SessionTable.h"

#include <functional>
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
    return maps_[std::hash<std::string>()(id) % kMaps];
}

} // namespace connector::http
