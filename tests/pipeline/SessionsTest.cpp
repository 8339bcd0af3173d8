#include <atomic>
#include <gtest/gtest.h>
#include <thread>

#include "contract/common/ManualTick.h"
#include "contract/streams/CallbackSubscriber.h"
#include "pipeline/HttpSessionManagerImpl.h"
#include "pipeline/HttpSessionServiceProvider.h"
#include "tests/pipeline/FakePipeline.h"

namespace connector::http {
namespace {

using Ids = std::vector<std::string>;
using Follower = reactive_streams::CallbackSubscriber<LifecycleEvent>;

std::shared_ptr<FakePipeline> makeContext(const char* name = "")
{
    auto context = std::make_shared<FakePipeline>();
    context->setAttribute("name", name);
    return context;
}

class SessionsTest : public testing::Test
{
protected:
    common::ManualTick clock;
    std::shared_ptr<HttpSessionManager> manager = std::make_shared<HttpSessionManagerImpl>();
};

TEST_F(SessionsTest, TheFirstLiveIdentifierWinsElseANewSessionBindsTheContext)
{
    const auto a = manager->createSession(makeContext());
    const auto b = manager->createSession(makeContext());
    EXPECT_NE(a, b);
    const Ids ids{"unknown", b, a};
    EXPECT_EQ(manager->getOrCreateSession(ids, nullptr),
              std::tuple(b, manager->getSession(b), true));
    const auto own = makeContext();
    const auto [id, context, found] = manager->getOrCreateSession("unknown", own);
    EXPECT_FALSE(found);
    EXPECT_EQ(context, own);
    EXPECT_EQ(id.size(), 16U);
    EXPECT_EQ(own->getAttribute("sessionId"), id);
    EXPECT_EQ(manager->getSession(id), own);
}

TEST_F(SessionsTest, AnUnusedSessionExpiresAndAUsedOneIsRenewed)
{
    const auto idle = manager->createSession(makeContext());
    const auto used = manager->createSession(makeContext());
    const auto updated = manager->createSession(makeContext());
    for (int more = 0; more < 1000; ++more) {
        manager->createSession(makeContext());
    }
    clock.advance(6000); // the sweep of this tick spares what expires at just this tick
    EXPECT_EQ(manager->listSessions().size(), 1003U);
    EXPECT_NO_THROW(manager->getSession(used));
    manager->updateSession(updated, makeContext());
    clock.advance(600);
    EXPECT_EQ(manager->listSessions().size(), 2U);
    EXPECT_THROW(manager->getSession(idle), std::runtime_error);
    clock.advance(6000);
    EXPECT_TRUE(manager->listSessions().empty());
}

TEST_F(SessionsTest, TheLastUsedSessionFollowsEveryUseAndAnUpdateRevivesNothing)
{
    EXPECT_EQ(manager->getLastUsedSession(), nullptr);
    const auto a = makeContext();
    const auto b = makeContext();
    const auto idOfA = manager->createSession(a);
    manager->updateSession(manager->createSession(a), b);
    EXPECT_EQ(manager->getLastUsedSession(), b);
    manager->getSession(idOfA);
    EXPECT_EQ(manager->getLastUsedSession(), a);
    manager->deleteSession(idOfA);
    manager->updateSession(idOfA, b);
    EXPECT_EQ(manager->getLastUsedSession(), a);
    EXPECT_FALSE(manager->listSessions().contains(idOfA));
}

TEST_F(SessionsTest, TheLifecycleTellsEveryChangeToOneSubscriber)
{
    std::string events;
    const auto following =
        Follower::attach(*manager->createSessionLifecyclePublisher(), [&](LifecycleEvent&& event) {
            events += "+=-"[static_cast<int>(event.kind)];
            events += event.context->getAttribute("name").value();
            manager->listSessions(); // takes the lock, so none is held here
            if (events == "+a") {
                manager->createSession(makeContext("b")); // waits until this has thrown
            }
            throw std::range_error("a subscriber's fault");
        });
    EXPECT_THROW(Follower::attach(*manager->createSessionLifecyclePublisher(), nullptr),
                 std::runtime_error);
    const auto a = manager->createSession(makeContext("a"));
    EXPECT_EQ(events, "+a+b");
    manager->updateSession(a, makeContext("a"));
    manager->updateSession("unknown", makeContext());
    manager->deleteSession(a);
    manager->deleteSession(a);
    clock.advance(6600);
    following->cancel();
    const auto next = Follower::attach(*manager->createSessionLifecyclePublisher(), [](auto&&) {});
    manager->createSession(makeContext());
    EXPECT_EQ(events, "+a+b=a-a-b");
}

TEST_F(SessionsTest, TheManagerMayGoAwayInTheMiddleOfItsSweep)
{
    manager->createSession(makeContext());
    const auto following =
        Follower::attach(*manager->createSessionLifecyclePublisher(),
                         [this](LifecycleEvent&& /*event*/) { manager.reset(); });
    clock.advance(6600);
    EXPECT_EQ(manager, nullptr);
}

TEST_F(SessionsTest, RequestsAndTheSweepMayRunAtOnce)
{
    std::atomic<bool> done = false;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this, &done] {
            for (std::string id; !done;) {
                const auto session = manager->getOrCreateSession(id, makeContext());
                id = std::get<0>(session);
                manager->updateSession(id, std::get<1>(session));
            }
        });
    }
    for (int step = 0; step < 200; ++step) {
        clock.advance(5000);
    }
    done = true;
    threads.clear();
    clock.advance(6600);
    EXPECT_TRUE(manager->listSessions().empty());
}

class SessionProviderTest : public SessionsTest
{
protected:
    Future<std::unique_ptr<Message>> handle(const char* baseUrl, const StringMultimap& cookies)
    {
        auto request = makeRequest("/");
        request->baseUrl = baseUrl;
        request->cookies = cookies;
        return provider.handle(std::move(request), "next", pipeline);
    }

    HttpSessionServiceProvider provider{manager};
    std::shared_ptr<FakePipeline> pipeline = makeContext();
};

TEST_F(SessionProviderTest, ANewSessionGetsTheCookieOfItsConnection)
{
    const auto live = manager->createSession(makeContext());
    const std::tuple<const char*, StringMultimap, const char*, const char*> cases[] = {
        {"http://host/", {}, "JSESSIONID", "; Path=/; HttpOnly"},
        {"https://host/", {}, "JSESSIONID2", "; Path=/; Secure"},
        {"http://https://", {{"JSESSIONID", "expired"}}, "JSESSIONID", "; Path=/; HttpOnly"},
        {"http://host/", {{"JSESSIONID2", live}}, "JSESSIONID", "; Path=/; HttpOnly"}};
    for (const auto& [baseUrl, given, name, attributes] : cases) {
        pipeline = makeContext();
        const auto cookies = responseOf(handle(baseUrl, given)).cookies;
        const auto id = pipeline->getAttribute("sessionId").value();
        EXPECT_EQ(cookies, (StringMultimap{{name, id + attributes}})) << baseUrl;
    }
}

TEST_F(SessionProviderTest, ALiveSessionLendsItsContextAndIsRenewedUnlessItIsDeletedOrTheReplyFails)
{
    const std::tuple<const char*, long long, bool, bool, bool> cases[] = {
        {"in time", 5000, false, false, true},
        {"failed", 5000, false, true, false},
        {"swept meanwhile", 8000, false, false, true},
        {"deleted meanwhile", 5000, true, false, false},
        {"swept, then deleted", 8000, true, false, false}};
    for (const auto& [name, ticks, isDeleted, fails, lives] : cases) {
        SCOPED_TRACE(name);
        const auto own = makeContext();
        const auto id = manager->createSession(own);
        Promise<std::unique_ptr<Message>> promise;
        own->replies.push_back(promise.getFuture());
        auto reply = handle("http://host/", {{"JSESSIONID", "unknown"}, {"JSESSIONID", id}});
        EXPECT_EQ(own->addresses, std::vector<std::string>{"next"});
        clock.advance(ticks);
        clock.advance(600);
        if (isDeleted) {
            manager->deleteSession(id);
        }
        if (fails) {
            promise.setException(std::make_exception_ptr(std::range_error("broken")));
            EXPECT_THROW(reply.get(), std::range_error);
        } else {
            promise.setValue(makeHttpResponse(200, ""));
            EXPECT_TRUE(responseOf(std::move(reply)).cookies.empty());
        }
        clock.advance(1200);
        EXPECT_EQ(manager->listSessions().contains(id), lives);
    }
}

} // namespace
} // namespace connector::http
