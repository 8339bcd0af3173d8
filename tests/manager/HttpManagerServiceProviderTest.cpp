#include <algorithm>
#include <functional>
#include <gmock/gmock.h>
#include <latch>
#include <thread>

#include "contract/http/MakeHttpResponse.h"
#include "contract/messaging/LocalConnector.h"
#include "manager/HttpManagerServiceProviderImpl.h"
#include "server/PocoHttpServer.h"
#include "tests/support/FailureText.h"
#include "tests/support/HttpMessages.h"
#include "tests/support/RawClient.h"

namespace connector::http {
namespace {

using test::findFreePort;
using test::makeRequest;

class HttpManagerServiceProviderTest : public testing::Test
{
protected:
    HttpManagerServiceProviderTest()
    {
        bus_->registerProvider("manager", manager_);
        bus_->registerProvider(
            "app", std::make_shared<test::FunctionProvider>([this](const HttpRequest& request) {
                return makeReadyHttpResponse(200, answer_(request.path));
            }));
    }

    ~HttpManagerServiceProviderTest() override { bus_->unregisterProvider("manager", manager_); }

    std::unique_ptr<Message> ask(std::unique_ptr<Message> message)
    {
        return bus_->createContext()->send(std::move(message), "manager").get();
    }

    std::string failureOf(std::unique_ptr<Message> message)
    {
        return test::failureOf([&] { return ask(std::move(message)); });
    }

    void create(const std::string& name)
    {
        const auto reply = ask(std::make_unique<CreateHttpServer>(
            name, Address("app"), findFreePort(), "any", ServerType::HTTP, L""));
        EXPECT_NE(messageAs<Message>(reply), nullptr) << "a plain acknowledgement";
    }

    template <typename M, typename... Arguments>
    HttpServerStatusResponse& status(Arguments&&... arguments)
    {
        last_ = ask(std::make_unique<M>(std::forward<Arguments>(arguments)...));
        return dynamic_cast<HttpServerStatusResponse&>(*last_);
    }

    std::uint16_t start(const std::string& name) { return status<StartHttpServer>(name).port; }

    std::shared_ptr<LocalConnector> bus_ = std::make_shared<LocalConnector>();
    std::shared_ptr<ServiceProvider> manager_ =
        std::make_shared<HttpManagerServiceProviderImpl>(bus_);
    std::function<std::string(const std::string& path)> answer_;
    std::unique_ptr<Message> last_;
};

TEST_F(HttpManagerServiceProviderTest, AServerLivesFromCreateToDestroy)
{
    answer_ = [](const std::string& path) { return "at " + path; };
    create("main");
    const auto port = status<GetHttpServerStatus>("main").port;
    EXPECT_EQ(start("main"), port);
    EXPECT_TRUE(status<StartHttpServer>("main").running) << "starting again changes nothing";
    EXPECT_EQ(test::exchange(port, makeRequest("GET", "/x")).body, "at /x");
    EXPECT_EQ(status<SetHttpServerPort>("main", std::uint16_t{1}).port, port);
    EXPECT_EQ(status<SetHttpServerAddress>("main", Address("other")).address, Address("app"));
    EXPECT_NE(status<SetHttpServerSocketAddress>("main", "other").socketAddress, "other");
    EXPECT_FALSE(status<StopHttpServer>("main").started);
    EXPECT_EQ(start("main"), port);
    ask(std::make_unique<DestroyHttpServer>("main"));
    EXPECT_ANY_THROW(test::exchange(port, makeRequest("GET", "/")));
    create("main");
    create("another");
    const auto reply = ask(std::make_unique<ListHttpServers>());
    EXPECT_THAT(dynamic_cast<ListHttpServersResponse&>(*reply).serverNames,
                testing::UnorderedElementsAre("another", "main"));
}

TEST_F(HttpManagerServiceProviderTest, RefusesWithItsTexts)
{
    const std::string unknown = "No server with the specified name exists.";
    EXPECT_EQ(failureOf(std::make_unique<StartHttpServer>("main")), unknown);
    EXPECT_EQ(failureOf(std::make_unique<StopHttpServer>("main")), unknown);
    EXPECT_EQ(failureOf(std::make_unique<SetHttpServerAddress>("main", "a")), unknown);
    EXPECT_EQ(failureOf(std::make_unique<SetHttpServerPort>("main", std::uint16_t{1})), unknown);
    EXPECT_EQ(failureOf(std::make_unique<SetHttpServerSocketAddress>("main", "a")), unknown);
    EXPECT_EQ(failureOf(std::make_unique<DestroyHttpServer>("main")), unknown);

    const auto createAs = [](ServerType type) {
        return std::make_unique<CreateHttpServer>("main", Address("b"), std::uint16_t{1}, "", type,
                                                  L"");
    };
    const auto strange = static_cast<ServerType>(2);
    EXPECT_EQ(failureOf(createAs(strange)), "Unknown server type.");
    EXPECT_EQ(failureOf(std::make_unique<GetHttpServerStatus>("main")), unknown);
    create("main");
    EXPECT_EQ(failureOf(createAs(strange)), "Server with the specified name already exists.");
    EXPECT_EQ(status<GetHttpServerStatus>("main").address, Address("app"));
}

TEST_F(HttpManagerServiceProviderTest, ARequestCanNotDestroyTheServerThatCarriesIt)
{
    answer_ = [this](auto&) { return failureOf(std::make_unique<DestroyHttpServer>("main")); };
    create("main");
    EXPECT_EQ(test::exchange(start("main"), makeRequest("GET", "/")).body,
              "A server can not be stopped from one of its own requests.");
    EXPECT_TRUE(status<GetHttpServerStatus>("main").running);
}

TEST_F(HttpManagerServiceProviderTest, RequestsOfTwoServersCanStopEachOthersServer)
{
    std::latch bothInside(2);
    std::string outcomes[2];
    answer_ = [&](const std::string& path) {
        bothInside.arrive_and_wait();
        const auto victim = path.substr(1);
        return outcomes[victim == "a"] = failureOf(std::make_unique<StopHttpServer>(victim));
    };
    create("a");
    create("b");
    test::RawClient toA(start("a"));
    test::RawClient toB(start("b"));
    toA.send(makeRequest("GET", "/b"));
    toB.send(makeRequest("GET", "/a"));
    bothInside.wait();
    ask(std::make_unique<StopHttpServer>("a"));
    ask(std::make_unique<StopHttpServer>("b"));
    std::ranges::sort(outcomes);
    EXPECT_EQ(outcomes[1], "The server of this request is being stopped.");
}

} // namespace
} // namespace connector::http
