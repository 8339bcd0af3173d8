#include "pipeline/HttpSessionManagerImpl.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

#include "contract/common/Log.h"
#include "contract/common/RandomString.h"
#include "contract/common/Thread.h"
#include "contract/common/Tick.h"
#include "contract/streams/CachedValuePublisher.h"
#include "pipeline/SessionTable.h"

namespace connector::http {

using pipeline::SessionTable;

namespace {

using Kind = LifecycleEvent::Kind;
using LifecyclePublisher =
    reactive_streams::CachedValuePublisher<LifecycleEvent, std::function<void()>>;

constexpr unsigned char kSessionIdLength = 16;
constexpr long long kSessionTimeoutTicks = 6000;
constexpr long long kSweepPeriodTicks = 600;

/// How many sessions the sweep deletes before it lets others have the mutex.
constexpr std::size_t kSweepBatch = 16;

/// How often a thread tries for the mutex before it sleeps: for about as long as the sweep holds
/// it. A thread that sleeps may wake a tick of the scheduler later, which made one sweep in ten
/// hold a request up for 3.5 ms.
constexpr int kMostTries = 300;

/// How often the sweep yields to threads that wait for the mutex before it goes on regardless.
constexpr int kMostYields = 2000;

constexpr common::Log kLog("connector::http");

std::string generateSessionId()
{
    return common::randomString(kSessionIdLength);
}

/// Most of the work of a new session, which needs no lock.
SessionTable::Node makeSession(const std::shared_ptr<Context>& context)
{
    auto id = generateSessionId();
    context->setAttribute("sessionId", id);
    return SessionTable::make(std::move(id), context);
}

long long expiryOfUseNow()
{
    return common::getCurrentTick() + kSessionTimeoutTicks;
}

} // namespace

/// All that the mutex guards, and what is done under it. An operation called `do...` is called with
/// the lock held and returns with it held; it lets go of it around the dispatch of an event.
///
/// No context is destroyed with the lock held, since its destructor may be anybody's: what an
/// operation displaces goes to its caller, whose locals outlive the lock.
class HttpSessionManagerImpl::State
{
public:
    using Lock = std::unique_lock<std::mutex>;
    using ContextPtr = std::shared_ptr<Context>;

    /// Takes the lock, and lets a sweep know if it has to wait for it.
    Lock enter();

    /// @param session of `makeSession`.
    std::string doCreateSession(Lock& lock, SessionTable::Node&& session, ContextPtr& displaced);

    /// @throws std::runtime_error "No such session."
    ContextPtr doGetSession(Lock& lock, const std::string& id, ContextPtr& displaced);

    /// @return what is left of the session; empty if it was gone already.
    SessionTable::Node doDeleteSession(Lock& lock, const std::string& id);

    /// Renews the session and makes its context the last used one.
    void doUse(Lock& lock, SessionTable::Session& session, ContextPtr& displaced);

    /// Tells the lifecycle of a session that was taken out of the table.
    void doDispatchRemoval(Lock& lock, const SessionTable::Node& removed) const;

    /// Notes a session that expired while somebody holds its context, as a request does that waits
    /// for its reply: an update stores it again.
    void doNoteExpiredInUse(Lock& lock, const SessionTable::Node& expired);

    /// Stores a session again that expired in use.
    /// @return null for one that did not.
    SessionTable::Session* doRestore(Lock& lock, const std::string& id, const ContextPtr& context);

    /// Hands the event to the lifecycle's subscriber, with the lock released. The caller asks
    /// first whether there is a lifecycle to follow, so that nobody builds an event in vain.
    void doEventDispatch(Lock& lock, LifecycleEvent&& event) const;

    /// Deletes the sessions that expired before @p tick.
    void sweepSession(long long tick);

    /// The mutex is not fair: without this the sweep takes it again before a thread that waits for
    /// it has woken up. The longest wait during a sweep that deletes 100,000 sessions was 0.6 to 3
    /// ms without it, and is about 0.2 ms with it.
    void letWaitersIn() const;

    std::atomic<int> waiting = 0; ///< Threads that `enter` and found the mutex taken.
    std::mutex mutex;             ///< Guards all below.
    SessionTable sessions;
    std::shared_ptr<LifecyclePublisher> lifecycle; ///< Null until it is asked for.
    ContextPtr lastUsedSession;
    /// The contexts of sessions that expired in use, by identifier, while somebody holds them.
    std::unordered_map<std::string, std::weak_ptr<Context>> expiredInUse;
};

HttpSessionManagerImpl::State::Lock HttpSessionManagerImpl::State::enter()
{
    Lock lock(mutex, std::defer_lock);
    for (int tries = 0; tries < kMostTries && !lock.try_lock(); ++tries) {
        common::pauseInSpin();
    }
    if (!lock) {
        ++waiting;
        lock.lock();
        --waiting;
    }
    return lock;
}

std::string HttpSessionManagerImpl::State::doCreateSession(Lock& lock, SessionTable::Node&& session,
                                                           ContextPtr& displaced)
{
    const auto context = session.mapped().context;
    auto id = session.key();
    while (!sessions.insert(session, expiryOfUseNow())) {
        session = makeSession(context);
        id = session.key();
    }
    displaced = std::exchange(lastUsedSession, context);
    if (lifecycle != nullptr) {
        doEventDispatch(lock, {Kind::Created, id, context});
    }
    return id;
}

HttpSessionManagerImpl::State::ContextPtr
HttpSessionManagerImpl::State::doGetSession(Lock& lock, const std::string& id,
                                            ContextPtr& displaced)
{
    auto* session = sessions.find(id);
    if (session == nullptr) {
        throw std::runtime_error("No such session.");
    }
    doUse(lock, *session, displaced);
    return session->context;
}

SessionTable::Node HttpSessionManagerImpl::State::doDeleteSession(Lock& lock, const std::string& id)
{
    expiredInUse.erase(id);
    auto removed = sessions.remove(id);
    doDispatchRemoval(lock, removed);
    return removed;
}

void HttpSessionManagerImpl::State::doDispatchRemoval(Lock& lock,
                                                      const SessionTable::Node& removed) const
{
    if (!removed.empty() && lifecycle != nullptr) {
        doEventDispatch(lock, {Kind::Removed, removed.key(), removed.mapped().context});
    }
}

void HttpSessionManagerImpl::State::doNoteExpiredInUse(Lock& /*lock*/,
                                                       const SessionTable::Node& expired)
{
    const auto& context = expired.mapped().context;
    if (context.use_count() > 1) { // no other owner can appear once this is the only one
        expiredInUse.emplace(expired.key(), context);
    }
}

SessionTable::Session* HttpSessionManagerImpl::State::doRestore(Lock& /*lock*/,
                                                                const std::string& id,
                                                                const ContextPtr& context)
{
    if (expiredInUse.erase(id) == 0) {
        return nullptr;
    }
    auto session = SessionTable::make(id, context);
    sessions.insert(session, expiryOfUseNow());
    return sessions.find(id);
}

void HttpSessionManagerImpl::State::doUse(Lock& /*lock*/, SessionTable::Session& session,
                                          ContextPtr& displaced)
{
    sessions.renew(session, expiryOfUseNow());
    if (lastUsedSession != session.context) {
        displaced = std::exchange(lastUsedSession, session.context);
    }
}

void HttpSessionManagerImpl::State::doEventDispatch(Lock& lock, LifecycleEvent&& event) const
{
    auto publisher = lifecycle;
    lock.unlock();
    try {
        publisher->publish(std::move(event));
    } catch (...) {
        kLog.write(common::Level::Error, "Caught exception in http session lifecycle publisher.");
    }
    publisher.reset(); // perhaps the last owner of an event, and of the context in it
    lock.lock();
}

void HttpSessionManagerImpl::State::sweepSession(long long tick)
{
    std::vector<SessionTable::Node> removed;
    removed.reserve(kSweepBatch);
    {
        const Lock lock(mutex);
        std::erase_if(expiredInUse, [](const auto& session) { return session.second.expired(); });
    }
    do {
        removed.clear();
        letWaitersIn();
        Lock lock(mutex);
        const std::string* id = nullptr;
        while (removed.size() < kSweepBatch && (id = sessions.expiredBefore(tick)) != nullptr) {
            removed.push_back(sessions.remove(*id));
            doNoteExpiredInUse(lock, removed.back());
            doDispatchRemoval(lock, removed.back());
        }
    } while (removed.size() == kSweepBatch);
}

void HttpSessionManagerImpl::State::letWaitersIn() const
{
    for (int yields = 0; waiting > 0 && yields < kMostYields; ++yields) {
        std::this_thread::yield();
    }
}

HttpSessionManagerImpl::HttpSessionManagerImpl()
    : state_(std::make_shared<State>()), sweep_(common::periodic(
                                             [weakState = std::weak_ptr(state_)](long long tick) {
                                                 if (const auto state = weakState.lock()) {
                                                     state->sweepSession(tick);
                                                 }
                                             },
                                             kSweepPeriodTicks))
{}

HttpSessionManagerImpl::~HttpSessionManagerImpl() = default;

std::shared_ptr<reactive_streams::PublisherAPI<LifecycleEvent>>
HttpSessionManagerImpl::createSessionLifecyclePublisher()
{
    const auto lock = state_->enter();
    if (state_->lifecycle == nullptr) {
        state_->lifecycle =
            std::make_shared<LifecyclePublisher>([weakState = std::weak_ptr(state_)] {
                const auto state = weakState.lock();
                if (state == nullptr) {
                    return;
                }
                std::shared_ptr<LifecyclePublisher> ended; // dropped after the lock
                const auto endLock = state->enter();
                ended.swap(state->lifecycle);
            });
    }
    return state_->lifecycle;
}

std::tuple<std::string, std::shared_ptr<Context>, bool>
HttpSessionManagerImpl::getOrCreateSession(const std::vector<std::string>& ids,
                                           std::shared_ptr<Context> context)
{
    std::shared_ptr<Context> displaced;
    if (!ids.empty()) {
        auto lock = state_->enter();
        for (const auto& id : ids) {
            if (auto* session = state_->sessions.find(id)) {
                state_->doUse(lock, *session, displaced);
                return {id, session->context, true};
            }
        }
    }
    auto session = makeSession(context);
    auto lock = state_->enter();
    auto id = state_->doCreateSession(lock, std::move(session), displaced);
    return {std::move(id), std::move(context), false};
}

std::tuple<std::string, std::shared_ptr<Context>, bool>
HttpSessionManagerImpl::getOrCreateSession(const std::string& id, std::shared_ptr<Context> context)
{
    return getOrCreateSession(std::vector<std::string>{id}, std::move(context));
}

std::string HttpSessionManagerImpl::createSession(std::shared_ptr<Context> context)
{
    std::shared_ptr<Context> displaced;
    auto session = makeSession(context);
    auto lock = state_->enter();
    return state_->doCreateSession(lock, std::move(session), displaced);
}

std::shared_ptr<Context> HttpSessionManagerImpl::getSession(const std::string& id)
{
    std::shared_ptr<Context> displaced;
    auto lock = state_->enter();
    return state_->doGetSession(lock, id, displaced);
}

void HttpSessionManagerImpl::updateSession(const std::string& id, std::shared_ptr<Context> context)
{
    std::shared_ptr<Context> displaced;
    auto lock = state_->enter();
    auto* session = state_->sessions.find(id);
    session = session != nullptr ? session : state_->doRestore(lock, id, context);
    if (session == nullptr) {
        return;
    }
    session->context.swap(context);
    state_->doUse(lock, *session, displaced);
    if (state_->lifecycle != nullptr) {
        state_->doEventDispatch(lock, {Kind::Updated, id, session->context});
    }
}

void HttpSessionManagerImpl::deleteSession(const std::string& id)
{
    SessionTable::Node removed;
    auto lock = state_->enter();
    removed = state_->doDeleteSession(lock, id);
}

std::unordered_map<std::string, std::shared_ptr<Context>> HttpSessionManagerImpl::listSessions()
{
    const auto lock = state_->enter();
    return state_->sessions.list();
}

std::shared_ptr<Context> HttpSessionManagerImpl::getLastUsedSession()
{
    const auto lock = state_->enter();
    return state_->lastUsedSession;
}

std::shared_ptr<HttpSessionManager> HttpSessionManagerImpl::getPtr()
{
    return shared_from_this();
}

} // namespace connector::http
