#include "pipeline/SessionTable.h"

#include <iterator>
#include <utility>

namespace connector::http {

bool SessionTable::insert(const std::string& id, std::shared_ptr<Context> context, long long expiry)
{
    const auto [place, isNew] = sessions_.try_emplace(id);
    if (isNew) {
        auto& [key, session] = *place;
        session.context = std::move(context);
        session.expiry_ = expiries_.insert(expiries_.end(), {expiry, &key});
    }
    return isNew;
}

SessionTable::Session* SessionTable::find(const std::string& id)
{
    const auto found = sessions_.find(id);
    return found == sessions_.end() ? nullptr : &found->second;
}

void SessionTable::renew(Session& session, long long expiry)
{
    session.expiry_->tick = expiry;
    expiries_.splice(expiries_.end(), expiries_, session.expiry_);
}

SessionTable::Removed SessionTable::remove(const std::string& id)
{
    const auto found = sessions_.find(id);
    if (found == sessions_.end()) {
        return {};
    }
    expiries_.erase(found->second.expiry_);
    return sessions_.extract(found);
}

const std::string* SessionTable::expiredBefore(long long tick) const
{
    return expiries_.empty() || expiries_.front().tick >= tick ? nullptr : expiries_.front().id;
}

} // namespace connector::http
