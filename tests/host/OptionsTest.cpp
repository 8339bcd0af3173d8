#include "host/Options.h"

#include <gmock/gmock.h>

namespace connector::host {
namespace {

using testing::HasSubstr;

std::variant<Options, EarlyExit> parse(std::vector<const char*> arguments)
{
    arguments.insert(arguments.begin(), "connector-host");
    return parseOptions(static_cast<int>(arguments.size()), arguments.data(), "1.2.3");
}

TEST(OptionsTest, EveryOptionArrives)
{
    std::vector<const char*> arguments = {"--no-secure", "--directory-listing", "/srv/site"};
    const std::pair<const char*, const char*> valued[] = {
        {"--port", "8080"},           {"--content", "/docs=/srv/a=b"},
        {"--content", "/x/=y"},       {"--cached-content", "/lib=/usr/lib"},
        {"--constant", "/none=204,"}, {"--constant", "/ping=200,pong, you"},
        {"--echo", "/echo"},          {"--proxy", "/up=https://[::1]:1/x/"},
        {"--proxy-limit", "1"},       {"--upstream-timeout", "86400"},
        {"--set", "a.b=c=d"},         {"--log-level", "debug"},
        {"--max-connections", "9"},   {"--provider", "/own=./lib=x.so"}};
    for (const auto& [option, value] : valued) {
        arguments.insert(arguments.end(), {option, value});
    }
    const auto parsed = parse(arguments);
    ASSERT_TRUE(std::holds_alternative<Options>(parsed));
    const auto& options = std::get<Options>(parsed);
    EXPECT_EQ(options.port, 8080);
    EXPECT_FALSE(options.secure);
    std::vector<std::string> contents;
    for (const auto& content : options.contents) {
        contents.push_back(content.route + " " + content.directory +
                           (content.enableCache ? " cached" : ""));
    }
    EXPECT_THAT(contents, testing::ElementsAre("/docs /srv/a=b", "/x/ y", "/lib /usr/lib cached",
                                               "/ /srv/site"));
    ASSERT_EQ(options.constants.size(), 2U);
    EXPECT_EQ(options.constants[0].text, "");
    EXPECT_EQ(options.constants[1].status, 200);
    EXPECT_EQ(options.constants[1].text, "pong, you");
    EXPECT_THAT(options.echoes, testing::ElementsAre("/echo"));
    EXPECT_EQ(options.proxies.at(0).url, "https://[::1]:1/x");
    EXPECT_EQ(options.providers.at(0).file, "./lib=x.so");
    EXPECT_EQ(options.proxyLimits.maxRequests, 1U);
    EXPECT_EQ(options.serverLimits.maxConnections, 9U);
    EXPECT_EQ(options.clientLimits.answerTimeout, std::chrono::hours(24));
    EXPECT_THAT(options.settings,
                testing::UnorderedElementsAre(testing::Pair("connector.directoryListing", "true"),
                                              testing::Pair("a.b", "c=d")));
    EXPECT_EQ(options.logLevel, common::Level::Debug);
}

TEST(OptionsTest, AFaultIsNamedAndEndsWithStatusTwo)
{
    const std::pair<std::vector<const char*>, const char*> cases[] = {
        {{"--prot", "1"}, "--prot"},
        {{"a", "b"}, "b"},
        {{""}, "no directory"},
        {{"--port"}, "--port"},
        {{"--port", "65536"}, "\"65536\" is no port"},
        {{"--port", "-1"}, "\"-1\" is no port"},
        {{"--port", "80", "--port", "81"}, "--port"},
        {{"--content", "/docs"}, "there is no \"=\""},
        {{"--content", "=/srv"}, "nothing before"},
        {{"--content", "/docs="}, "no directory"},
        {{"--content", "docs=/srv"}, "begins with \"/\""},
        {{"--cached-content", "/my-app=/srv"}, "letters, digits"},
        {{"--content", "/a=x", "--content", "/a/=y"}, "/a/ is given more than once"},
        {{"--constant", "/=200,x", "site"}, "/ is given more than once"},
        {{"--constant", "/ping=200"}, "there is no \",\""},
        {{"--constant", "/ping=100,x"}, "\"100\" is no status"},
        {{"--constant", "/ping=600,x"}, "\"600\" is no status"},
        {{"--echo", "echo"}, "begins with \"/\""},
        {{"--proxy", "/a"}, "there is no \"=\""},
        {{"--proxy", "/a=ftp://host"}, "begins with \"http://\""},
        {{"--proxy", "/a=http:///path"}, "no host"},
        {{"--proxy", "/a=http://a b"}, "\"a b\" is no host"},
        {{"--proxy", "/a=http://[::1:80/"}, "\"[::1:80\" is no host"},
        {{"--proxy", "/a=http://me@host"}, "\"me@host\" is no host"},
        {{"--proxy", "/a=http://host:/"}, "\"\" is no port"},
        {{"--proxy", "/a=https://[::1]:65536/"}, "\"65536\" is no port"},
        {{"--proxy", "/a=http://host/#x"}, "fragment"},
        {{"--proxy-limit", "0"}, "--proxy-limit: \"0\" is no number from 1 to 1000."},
        {{"--secure-port", "https"}, "\"https\" is no port"},
        {{"--set", "key"}, "there is no \"=\""},
        {{"--log-level", "loud"}, "loud"},
    };
    for (const auto& [arguments, named] : cases) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const auto parsed = parse(arguments);
        ASSERT_TRUE(std::holds_alternative<EarlyExit>(parsed));
        const auto& exit = std::get<EarlyExit>(parsed);
        EXPECT_EQ(exit.status, kWrongOptions);
        EXPECT_THAT(exit.text, HasSubstr(named));
    }
}

} // namespace
} // namespace connector::host
