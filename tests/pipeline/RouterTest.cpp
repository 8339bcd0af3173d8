#include <gtest/gtest.h>

#include "pipeline/HttpRouterImpl.h"
#include "pipeline/HttpRouterServiceProvider.h"
#include "tests/pipeline/FakePipeline.h"

namespace connector::http {
namespace {

using Routes = std::vector<std::pair<std::string, Address>>;

TEST(HttpRouterTest, AddedRoutesStandInFrontOfShorterOnesAndTheFirstMatchWins)
{
    HttpRouterImpl router(Routes{{"/a", "first"}, {"/a/b", "second"}, {"/a", "third"}});
    for (const auto* path : {"/ab", "", "/abc", "/b", "/abd"}) {
        router.addRoute(path, path);
    }
    std::string order;
    for (const auto& [path, address] : router.listRoutes()) {
        order += path + " ";
    }
    EXPECT_EQ(order, "/abc /abd /ab /a /a/b /a /b  ");
    EXPECT_EQ(router.findAddress("/a/b").toString(), "first");
    EXPECT_EQ(router.findAddress("/abc/x").toString(), "abc");
    EXPECT_TRUE(router.findAddress("/abcd").empty());
    router.removeRoute("/a");
    EXPECT_EQ(router.findAddress("/a").toString(), "third");
    EXPECT_THROW(router.removeRoute("/a/"), std::invalid_argument);
}

class RouterProviderTest : public testing::Test
{
protected:
    Future<std::unique_ptr<Message>> handle(const char* path)
    {
        auto request = makeRequest(path, true);
        request->stopToken = stop.get_token();
        return provider.handle(std::move(request), "next", pipeline);
    }

    std::stop_source stop;
    HttpRouterServiceProvider provider{std::make_shared<HttpRouterImpl>(
        Routes{{"/a", "site/a"}, {"/pagenotfound.html", "pages"}})};
    std::shared_ptr<FakePipeline> pipeline = std::make_shared<FakePipeline>();
};

TEST_F(RouterProviderTest, PutsTheRouteBehindTheAddressItWasGiven)
{
    EXPECT_EQ(responseOf(handle("/a/b")).status, 200);
    EXPECT_EQ(responseOf(handle("/b")).status, 404); // has no route, so nothing is sent
    EXPECT_EQ(pipeline->addresses, std::vector<std::string>{"next/site/a"});
    EXPECT_EQ(pipeline->requests.at(0)->path, "/a/b");
}

TEST_F(RouterProviderTest, FetchesTheNotFoundPageOnceFromItsOwnAddress)
{
    for (const bool hasPage : {true, false}) {
        SCOPED_TRACE(hasPage);
        pipeline = std::make_shared<FakePipeline>();
        pipeline->replies.push_back(makeReadyHttpResponse(404, "gone"));
        pipeline->replies.push_back(makeReadyHttpResponse(hasPage ? 200 : 404, "page"));
        EXPECT_EQ(responseOf(handle("/a")).status, 404);
        EXPECT_EQ(pipeline->addresses, (std::vector<std::string>{"next/site/a", "pages"}));
        const auto& request = *pipeline->requests.at(1);
        EXPECT_EQ(request.method + " " + request.path, "get /pagenotfound.html");
        EXPECT_TRUE(request.baseUrl.empty() && !request.local);
        EXPECT_EQ(request.stopToken, stop.get_token());
    }
}

TEST_F(RouterProviderTest, PassesFailuresAndOtherReplies)
{
    pipeline->replies.push_back(makeReadyFuture(std::make_unique<Message>()));
    EXPECT_NE(handle("/a").get(), nullptr);
    pipeline->replies.push_front(
        makeFailedFuture<std::unique_ptr<Message>>(std::range_error("broken")));
    EXPECT_THROW(handle("/a").get(), std::range_error);
    EXPECT_EQ(pipeline->requests.size(), 2U);
}

} // namespace
} // namespace connector::http
