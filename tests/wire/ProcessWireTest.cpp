#include <csignal>
#include <functional>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "tests/wire/Site.h"

namespace connector::test {
namespace {

using testing::HasSubstr;

TEST(ProcessWireTest, WhatCanNotStartSaysWhyAndEndsWithItsStatus)
{
    const Site site;
    const auto file = site.path() + "/index.html";
    const struct
    {
        std::vector<std::string> arguments;
        int status;
        std::string named;
    } cases[] = {
        {{"--no-such-option"}, 2, "--no-such-option"},
        {{"--content", "docs"}, 2, "docs"},
        {{"--set", "connector.directoryListing=perhaps"}, 2, "connector.directoryListing"},
        {{"/no/such/directory"}, 1, "/no/such/directory"},
        {{file}, 1, file},
        {{"--cached-content", "/x=/no/such/directory"}, 1, "/no/such/directory"},
        {{"--log-file", "/no/such/directory/log"}, 1, "/no/such/directory/log"},
    };
    for (const auto& [arguments, status, named] : cases) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        std::vector<std::string> command = {kHostBinary};
        command.insert(command.end(), arguments.begin(), arguments.end());
        ChildProcess host(command);
        EXPECT_EQ(host.readRest(), "");
        EXPECT_EQ(host.wait(), status);
        EXPECT_THAT(host.errors(), HasSubstr(named));
    }
}

TEST(ProcessWireTest, TheVersionIsWhatThePlugInExports)
{
    ChildProcess host({kHostBinary, "--version"});
    EXPECT_THAT(host.readRest(),
                testing::MatchesRegex("libqxconnectorhttpimpl_version: [0-9.]+\n"
                                      "libqxconnectorhttpimpl_build_date: [0-9-]+\n"
                                      "libqxconnectorhttpimpl_relative_path: .*\\.so\n"));
    EXPECT_EQ(host.wait(), 0);
}

TEST(ProcessWireTest, TheDefaultPairIsStartedUnlessTheOptionsSpeakOfServers)
{
    const Site site;
    const struct
    {
        std::vector<std::string> arguments;
        const char* line;
    } cases[] = {
        {{}, "Default set of HTTP servers started. HTTP: [0-9]+, HTTPS: [0-9]+"},
        {{"--secure-port", "32000"}, "HTTP servers started. HTTP: [0-9]+, HTTPS: 3[0-9]+"},
        {{"--certificate", site.path() + "/c.pem"}, "HTTP servers started. HTTP: .*, HTTPS: .*"},
        {{"--no-secure"}, "HTTP servers started. HTTP: [0-9]+"},
    };
    for (const auto& [arguments, line] : cases) {
        SCOPED_TRACE(line);
        std::vector<std::string> command = {kHostBinary, site.path()};
        command.insert(command.end(), arguments.begin(), arguments.end());
        ChildProcess host(command);
        EXPECT_THAT(host.readLine(), testing::MatchesRegex(line));
        EXPECT_THAT(host.readLine(), testing::MatchesRegex("  http://localhost:[0-9]+/"));
        host.write("quit\n");
        EXPECT_EQ(host.wait(), 0);
    }
}

TEST(ProcessWireTest, ATakenPortMovesTheServerToTheNext)
{
    const ServedSite first;
    const HostProcess second(kHostBinary, {"--no-secure", "--constant", "/=200,second", "--port",
                                           std::to_string(first.port())});
    EXPECT_GT(second.port(), first.port());
    EXPECT_EQ(exchange(second.port(), makeRequest("GET", "/")).body, "second");
    EXPECT_EQ(first.get("/ping").body, "pong");
}

/// Ends the host while @p clients hold it; it must end by itself, with status 0.
void expectCleanEnd(const std::function<void(ServedSite&)>& end,
                    const std::vector<std::string>& clients)
{
    ServedSite served;
    std::vector<std::unique_ptr<RawClient>> connected;
    for (const auto& request : clients) {
        connected.push_back(std::make_unique<RawClient>(served.port()));
        connected.back()->send(request);
    }
    EXPECT_EQ(served.get("/ping").body, "pong");
    end(served);
    EXPECT_EQ(served.host.wait(), 0);
    EXPECT_THAT(served.host.errors(), testing::Not(HasSubstr("did not end in time")));
    EXPECT_THROW(RawClient{served.port()}, std::runtime_error);
}

TEST(ProcessWireTest, ASignalOrQuitEndsItWhateverClientsDo)
{
    const std::vector<std::string> clients = {
        "", "GET /pi", makeRequest("GET", "/ping"), makeRequest("GET", "/big.mp4"),
        makeRequest("POST", "/ping", "Content-Length: 5\r\n") + "hal"};
    const std::vector<std::function<void(ServedSite&)>> ends = {
        [](ServedSite& served) { served.host.signal(SIGTERM); },
        [](ServedSite& served) { served.host.signal(SIGINT); },
        [](ServedSite& served) { served.host.write("quit\n"); },
        [](ServedSite& served) {
            served.host.closeInput();
            EXPECT_EQ(served.get("/ping").body, "pong") << "the end of its input ends nothing";
            served.host.signal(SIGTERM);
        },
    };
    for (const auto& end : ends) {
        expectCleanEnd(end, clients);
    }
}

TEST(ProcessWireTest, ItEndsThoughNobodyReadsItsAnswers)
{
    expectCleanEnd(
        [](ServedSite& served) {
            for (int i = 0; i < 400; ++i) {
                served.host.write("help\n");
            }
            served.host.signal(SIGTERM);
        },
        {});
}

TEST(ProcessWireTest, TheSamePortServesAgainAfterARestartUnderTraffic)
{
    const Site site;
    const auto port = std::to_string(findFreePort());
    for (int i = 0; i < 3; ++i) {
        HostProcess host(kHostBinary, {"--no-secure", site.path(), "--port", port});
        EXPECT_EQ(std::to_string(host.port()), port);
        RawClient client(host.port());
        client.send(makeRequest("GET", "/"));
        EXPECT_EQ(client.readResponse().status, 200);
        EXPECT_EQ(host.stop(), 0);
    }
}

} // namespace
} // namespace connector::test
