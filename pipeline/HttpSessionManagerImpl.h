#pragma once

#include <memory>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "contract/common/Export.h"
#include "contract/common/TickManager.h"
#include "contract/http/HttpSessionManager.h"

namespace connector::http {

/// Sessions that expire 6000 ticks after their last use, and are swept away within 600 more.
///
/// One mutex guards everything; it is released while a subscriber of the lifecycle runs and while
/// contexts are destroyed. Every operation but `listSessions` takes constant time, however many
/// sessions there are. The sweep visits none but expired sessions and holds the mutex for a bounded
/// number of them at a time, except for those whose contexts somebody still holds: it looks through
/// these at once, and forgets the ones that nobody holds any more.
class CONNECTOR_API HttpSessionManagerImpl final : public HttpSessionManager
{
public:
    /// Starts the sweep, on the tick thread.
    HttpSessionManagerImpl();

    /// Ends the sweep: waits for one that is running on another thread.
    ~HttpSessionManagerImpl() override;

    /// The manager keeps the publisher and returns the same one, until its subscriber cancels.
    /// Before the first call no event is so much as built.
    std::shared_ptr<reactive_streams::PublisherAPI<LifecycleEvent>>
    createSessionLifecyclePublisher() override;

    std::tuple<std::string, std::shared_ptr<Context>, bool>
    getOrCreateSession(const std::vector<std::string>& ids,
                       std::shared_ptr<Context> context) override;
    std::tuple<std::string, std::shared_ptr<Context>, bool>
    getOrCreateSession(const std::string& id, std::shared_ptr<Context> context) override;
    std::string createSession(std::shared_ptr<Context> context) override;
    std::shared_ptr<Context> getSession(const std::string& id) override;
    void updateSession(const std::string& id, std::shared_ptr<Context> context) override;
    void deleteSession(const std::string& id) override;
    std::unordered_map<std::string, std::shared_ptr<Context>> listSessions() override;
    std::shared_ptr<Context> getLastUsedSession() override;
    std::shared_ptr<HttpSessionManager> getPtr() override;

private:
    class State;

    /// Shared with a sweep that is running: its subscriber may drop the manager meanwhile.
    const std::shared_ptr<State> state_;
    const std::shared_ptr<common::TickManager::Canceller> sweep_;
};

} // namespace connector::http
