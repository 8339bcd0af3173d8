#include <gtest/gtest.h>

#include "contract/platform/LayeredConfiguration.h"
#include "pipeline/HttpLocalHostFilterServiceProvider.h"
#include "pipeline/HttpPathFilterServiceProvider.h"
#include "pipeline/HttpResponseHeaderServiceProvider.h"
#include "tests/pipeline/FakePipeline.h"

namespace connector::http {
namespace {

using PathFilter = HttpPathFilterServiceProvider;
using LocalHostFilter = HttpLocalHostFilterServiceProvider;
using HeaderRules = HttpResponseHeaderServiceProvider;

/// A pattern and a path that make the expressions library give up.
const boost::regex kEvilPattern("(a|aa)+$");
const std::string kEvilPath = std::string(500, 'a') + "!";

/// 200 comes from behind the stage.
int statusOf(HttpServiceProvider& stage, const std::string& path, bool local = false)
{
    const auto rest = std::make_shared<FakePipeline>();
    return responseOf(stage.handle(makeRequest(path, local), "next", rest)).status;
}

TEST(PathFilterTest, PassesPathsThatAPatternMatchesWhole)
{
    PathFilter byDefault(PathFilter::defaultWhiteList(), 403, "No.");
    EXPECT_EQ(statusOf(byDefault, "/x/file.CSS"), 200);
    EXPECT_EQ(statusOf(byDefault, "/x.css\n"), 403);
    PathFilter custom({boost::regex("/a"), boost::regex("/b+"), kEvilPattern, boost::regex(".*!")},
                      404, "No.");
    EXPECT_EQ(statusOf(custom, "/bb"), 200);
    EXPECT_EQ(statusOf(custom, "/ab"), 404);
    EXPECT_EQ(statusOf(custom, "a!"), 200);
    EXPECT_EQ(statusOf(custom, kEvilPath), 404);
}

TEST(LocalHostFilterTest, RefusesRemoteRequestsThatAreNotOnTheList)
{
    LocalHostFilter filter(nullptr, LocalHostFilter::defaultWhiteList(), 403, "No.");
    EXPECT_EQ(statusOf(filter, "/favicon.ico"), 200);
    EXPECT_EQ(statusOf(filter, "/x\n/favicon.ico"), 403);
    EXPECT_EQ(statusOf(filter, "/data.bin"), 403);
    EXPECT_EQ(statusOf(filter, "/data.bin", true), 200);
}

TEST(LocalHostFilterTest, FollowsItsSettingWithTheNextRequest)
{
    const std::string key = "connector.enableLocalHostFilter";
    const auto settings = std::make_shared<configuration::LayeredConfiguration>();
    settings->set(key, false, "host");
    auto filter = std::make_unique<LocalHostFilter>(settings, std::vector<boost::regex>(), 403, "");
    EXPECT_EQ(statusOf(*filter, "/x"), 200);
    settings->set(key, true, "host");
    EXPECT_EQ(statusOf(*filter, "/x"), 403);
    settings->set(key, std::string("neither"), "host");
    EXPECT_EQ(statusOf(*filter, "/x"), 403);
    filter.reset();
    settings->set(key, false, "host");
}

class HeaderRulesTest : public testing::Test
{
protected:
    StringMultimap headersFor(const std::string& path, StringMultimap given = {},
                              HeaderRules* rules = nullptr)
    {
        pipeline->replies.push_front(makeReadyFuture<std::unique_ptr<Message>>(
            std::make_unique<HttpResponse>(200, std::move(given), StringMultimap(), nullptr)));
        rules = rules != nullptr ? rules : &provider;
        return responseOf(rules->handle(makeRequest(path), "next", pipeline)).headers;
    }

    HeaderRules provider{HeaderRules::defaultHeaderRules()};
    std::shared_ptr<FakePipeline> pipeline = std::make_shared<FakePipeline>();
    Promise<std::unique_ptr<Message>> late;
};

TEST_F(HeaderRulesTest, AddsTheHeadersOfTheFirstRuleThatMatches)
{
    const StringMultimap noCache{{"Cache-Control", "no-cache, no-store, must-revalidate"},
                                 {"Pragma", "no-cache"},
                                 {"Expires", "0"}};
    const StringMultimap cache{{"Cache-Control", "private, max-age=2592000"}};
    EXPECT_EQ(headersFor("/INDEX.HTML"), noCache);
    EXPECT_EQ(headersFor("/css/site.css"), cache);
    StringMultimap own{{"Cache-Control", "own"}, {"Pragma", "own"}, {"expires", "own"}};
    const auto headers = headersFor("/", own);
    own.emplace("Expires", "0");
    EXPECT_EQ(headers, own);
    HeaderRules repeating({{boost::regex(".*"), {{"x", "1"}, {"x", "2"}}}});
    for (const auto& given : {StringMultimap(), own}) {
        EXPECT_EQ(headersFor("/", given, &repeating).count("x"), 1U);
    }
}

TEST_F(HeaderRulesTest, WaitsForTheReplyOnlyWhereARuleApplies)
{
    pipeline->replies.push_front(late.getFuture());
    HeaderRules evil({{kEvilPattern, {{"x", "y"}}}});
    EXPECT_FALSE(evil.handle(makeRequest(kEvilPath), "next", pipeline).isReady());
    pipeline->replies.push_front(
        makeFailedFuture<std::unique_ptr<Message>>(std::range_error("broken")));
    EXPECT_THROW(provider.handle(makeRequest("/"), "next", pipeline), std::range_error);
}

TEST_F(HeaderRulesTest, GivesUpItsWaitWhenTheServerStops)
{
    pipeline->replies.push_front(late.getFuture());
    std::stop_source stop;
    auto request = makeRequest("/");
    request->stopToken = stop.get_token();
    stop.request_stop();
    auto reply = provider.handle(std::move(request), "next", pipeline);
    EXPECT_THROW(reply.get(), std::runtime_error);
}

} // namespace
} // namespace connector::http
