#include "pipeline/SessionTable.h"

#include <utility>

namespace connector::http::pipeline {

SessionTable::~SessionTable()
{
    byExpiry_.clear();
}

SessionTable::Node SessionTable::make(std::string id, std::shared_ptr<Context> context)
{
    Sessions only;
    const auto place = only.try_emplace(std::move(id)).first;
    place->second.context = std::move(context);
    place->second.id_ = &place->first;
    return only.extract(place);
}

bool SessionTable::insert(Node& session, long long expiry)
{
    auto result = mapOf(session.key()).insert(std::move(session));
    session = std::move(result.node);
    if (result.inserted) {
        auto& inserted = result.position->second;
        inserted.expiry_ = expiry;
        byExpiry_.push_back(inserted);
    }
    return result.inserted;
}

SessionTable::Session* SessionTable::find(const std::string& id)
{
    auto& map = mapOf(id);
    const auto found = map.find(id);
    return found == map.end() ? nullptr : &found->second;
}

void SessionTable::renew(Session& session, long long expiry)
{
    session.expiry_ = expiry;
    byExpiry_.splice(byExpiry_.end(), byExpiry_, byExpiry_.iterator_to(session));
}

SessionTable::Node SessionTable::remove(const std::string& id)
{
    auto& map = mapOf(id);
    const auto found = map.find(id);
    if (found == map.end()) {
        return {};
    }
    byExpiry_.erase(byExpiry_.iterator_to(found->second));
    return map.extract(found);
}

const std::string* SessionTable::expiredBefore(long long tick) const
{
    return byExpiry_.empty() || byExpiry_.front().expiry_ >= tick ? nullptr : byExpiry_.front().id_;
}

std::unordered_map<std::string, std::shared_ptr<Context>> SessionTable::list() const
{
    std::unordered_map<std::string, std::shared_ptr<Context>> list;
    list.reserve(byExpiry_.size());
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

} // namespace connector::http::pipeline
