#include <csignal>
#include <functional>
#include <gmock/gmock.h>
#include <list>
#include <sys/stat.h>

#include "tests/wire/Site.h"

namespace connector::test {
namespace {

using testing::HasSubstr;

TEST(ProcessWireTest, WhatCanNotStartSaysWhyAndEndsWithItsStatus)
{
    const TemporaryDirectory directory;
    const auto fifo = (directory.path() / "fifo").string();
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::tuple<std::vector<std::string>, int, std::string> cases[] = {
        {{kHostBinary, "--set", "connector.directoryListing=perhaps"},
         2,
         "connector.directoryListing"},
        {{kHostBinary, "--set", "connector.directorylisting=true"},
         2,
         "connector.directorylisting"},
        {{kHostBinary, "/no/such/directory"}, 1, "/no/such/directory"},
        {{kHostBinary, kHostBinary}, 1, kHostBinary}, // a file
        {{kHostBinary, "--cached-content", "/x=/no/such/directory"}, 1, "/no/such/directory"},
        {{kHostBinary, "--log-file", "/no/such/directory/log"}, 1, "/no/such/directory/log"},
        {{kHostBinary, "--log-file", fifo}, 1, fifo + ": Not a regular file"},
        {{kHostBinary, "--certificate", "/no/such/c.pem"},
         1,
         "/no/such/c.pem: No such file or directory"},
        {{CONNECTOR_EMBED_BINARY, ".", "abc"}, 2, "connector-embed: \"abc\" is no port"},
        {{CONNECTOR_EMBED_BINARY, "/no/such/directory"}, 1, "/no/such/directory"},
    };
    for (const auto& [command, status, named] : cases) {
        SCOPED_TRACE(testing::PrintToString(command));
        ChildProcess program(command);
        program.closeInput();
        EXPECT_EQ(program.readRest(), "");
        EXPECT_EQ(program.wait(), status);
        EXPECT_THAT(program.errors(), HasSubstr(named));
    }
}

TEST(ProcessWireTest, TheVersionIsWhatThePlugInExports)
{
    ChildProcess host({kHostBinary, "--version"});
    EXPECT_THAT(host.readRest(), testing::MatchesRegex("(libqxconnectorhttpimpl_[a-z_]+: "
                                                       "([0-9]+[.-][0-9]+[.-][0-9]+|"
                                                       "libqxconnectorhttpimpl[.]so)\n){3}"));
    EXPECT_EQ(host.wait(), 0);
}

TEST(ProcessWireTest, TheDefaultPairIsStartedUnlessTheOptionsSpeakOfServers)
{
    const TemporaryDirectory directory;
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{}, "Default set of HTTP servers started. HTTP: [0-9]+, HTTPS: [0-9]+"},
        {{"--secure-port", "32000"}, "HTTP servers started. HTTP: [0-9]+, HTTPS: 3[0-9]+"},
        {{"--certificate", directory.path() / "c.pem"}, "HTTP servers started. HTTP: .*, HTTPS.*"},
        {{"--no-secure"}, "HTTP servers started. HTTP: [0-9]+"},
    };
    for (auto [arguments, line] : cases) {
        SCOPED_TRACE(line);
        arguments.insert(arguments.begin(), kHostBinary);
        ChildProcess host(arguments);
        EXPECT_THAT(host.readLine(), testing::MatchesRegex(line));
        EXPECT_THAT(host.readLine(), testing::MatchesRegex("  http://localhost:[0-9]+/"));
        host.write("quit\n");
        EXPECT_EQ(host.wait(), 0);
    }
}

TEST(ProcessWireTest, ASignalOrQuitEndsItWhateverClientsDo)
{
    using Process = HostProcess&;
    const std::function<void(Process)> ends[] = {
        [](Process host) { host.signal(SIGINT); },
        [](Process host) { host.signal(SIGHUP); },
        [](Process host) { host.signal(SIGUSR1); },
        [](Process host) { host.signal(SIGUSR2); },
        [](Process host) { host.signal(SIGALRM); },
        [](Process host) { host.write("help\r\nquit\r\n"); },
        [](Process host) {
            host.write("quit"); // the last line needs no end
            host.closeInput();
        },
        [](Process host) {
            host.closeInput();
            EXPECT_EQ(exchange(host.port(), makeRequest("GET", "/ping")).body, "pong");
            host.signal(SIGTERM);
        },
        [](Process host) {
            for (int i = 0; i < 400; ++i) {
                host.write("help\n"); // whose answers nobody reads
            }
            host.signal(SIGTERM);
        },
    };
    for (const auto& end : ends) {
        ServedSite served;
        std::list<RawClient> clients;
        for (const auto& request :
             {std::string(), std::string("GET /pi"), makeRequest("GET", "/ping"),
              makeRequest("GET", "/big.mp4"),
              makeRequest("POST", "/ping", "Content-Length: 5\r\n") + "hal"}) {
            clients.emplace_back(served.port()).send(request);
        }
        EXPECT_EQ(served.get("/ping").body, "pong");
        end(served.host);
        EXPECT_EQ(served.host.wait(), 0);
        EXPECT_THAT(served.host.errors(), testing::Not(HasSubstr("did not end in time")));
        EXPECT_ANY_THROW(RawClient{served.port()});
    }
}

TEST(ProcessWireTest, ClosedStandardStreamsAreNotTakenForOtherDescriptors)
{
    ChildProcess host({"sh", "-c", "echo $$; exec \"$0\" --no-secure <&- 2>&-", kHostBinary});
    const auto descriptors = "/proc/" + host.readLine() + "/fd/";
    EXPECT_THAT(host.readLine(), HasSubstr("HTTP: "));
    EXPECT_EQ(std::filesystem::read_symlink(descriptors + "0"), "/dev/null");
    EXPECT_EQ(std::filesystem::read_symlink(descriptors + "2"), "/dev/null");
}

TEST(ProcessWireTest, TheEmbeddingProgramServesItsProviderAndItsDirectory)
{
    const Site site;
    ChildProcess program({CONNECTOR_EMBED_BINARY, site.path(), std::to_string(findFreePort())});
    const auto line = program.readLine();
    const auto port = static_cast<std::uint16_t>(std::stoul(line.substr(line.find(' '))));
    const auto greeting = test::exchange(port, makeRequest("GET", "/hello?name=Ada%20L"));
    EXPECT_EQ(greeting.body, "Hello, Ada L!\n");
    EXPECT_EQ(greeting.header("content-type"), "text/plain; charset=utf-8");
    EXPECT_EQ(test::exchange(port, makeRequest("GET", "/hello")).status, 400);
    EXPECT_EQ(test::exchange(port, makeRequest("POST", "/hello")).status, 405);
    EXPECT_EQ(test::exchange(port, makeRequest("GET", "/ten.json")).body, "0123456789");
    program.closeInput();
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(program.errors(), "");
}

} // namespace
} // namespace connector::test
