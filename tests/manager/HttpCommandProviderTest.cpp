#include "manager/HttpCommandProvider.h"

#include <gtest/gtest.h>

#include "contract/http/HttpManagerMessages.h"
#include "contract/messaging/LocalConnector.h"

namespace connector::http {
namespace {

/// Stands in for the manager: writes the messages down and answers as told.
class FakeManager final : public ServiceProvider
{
public:
    Future<std::unique_ptr<Message>> deliver(std::unique_ptr<Message>&& message, Address&&,
                                             std::shared_ptr<Context>&&) override
    {
        if (refuses) {
            throw std::invalid_argument("refused");
        }
        auto reply = std::make_unique<Message>();
        if (const auto* create = messageAs<CreateHttpServer>(message)) {
            log += create->name + " " + create->address.toString() + " " +
                   std::to_string(create->port) + " " +
                   std::to_string(static_cast<int>(create->serverType)) + "\n";
        } else if (const auto* start = messageAs<StartHttpServer>(message)) {
            log += "start " + start->name + "\n";
            reply = std::make_unique<HttpServerStatusResponse>(
                "", Address(), "", "", "", "", std::uint16_t(start->name == "main" ? 1111 : 2222),
                ServerType::HTTP, true, true);
        } else {
            reply = std::make_unique<ListHttpServersResponse>(std::vector<std::string>{"b", "a"});
        }
        return makeReadyFuture(confused ? std::make_unique<Message>() : std::move(reply));
    }

    std::string log;
    bool confused = false;
    bool refuses = false;
};

TEST(HttpCommandProviderTest, DrivesTheManagerWhileItLives)
{
    const auto bus = std::make_shared<LocalConnector>();
    const auto manager = std::make_shared<FakeManager>();
    bus->registerProvider("the/manager", manager);
    const auto administration = std::make_shared<administration::Administration>();
    {
        const HttpCommandProvider commands(bus, administration, "the/manager");
        const auto run = [&](const char* command) { return administration->runCommand(command); };
        EXPECT_EQ(run("connector.http.listServers"), "b\na\n");
        EXPECT_EQ(run("connector.http.defaultServers"),
                  "Default set of HTTP servers started. HTTP: 1111, HTTPS: 2222");
        EXPECT_EQ(manager->log, "main connector/http/router 31415 0\n"
                                "secure connector/http/router 31515 1\n"
                                "start main\n"
                                "start secure\n");
        EXPECT_NE(run("connector.http.listNetworkInterfaces").find("127.0.0.1"), std::string::npos);
        for (const auto* command :
             {"connector.http.listServers", "connector.http.defaultServers"}) {
            manager->confused = true;
            EXPECT_EQ(run(command), "Failure to convert the response message!");
            manager->refuses = true;
            EXPECT_THROW(run(command), std::invalid_argument);
            manager->refuses = false;
        }
    }
    EXPECT_TRUE(administration->listCommands().empty());
    administration->addCommand("connector.http.defaultServers", "of another", nullptr);
    EXPECT_THROW(HttpCommandProvider(bus, administration, ""), std::invalid_argument);
    EXPECT_EQ(
        administration->listCommands(),
        (std::vector<administration::Command>{{"connector.http.defaultServers", "of another"}}));
}

} // namespace
} // namespace connector::http
