#include "pipeline/DefaultPipeline.h"

#include <gmock/gmock.h>

#include "pipeline/HttpConstantServiceProvider.h"
#include "tests/pipeline/FakePipeline.h"

namespace connector::http {
namespace {

using testing::ThrowsMessage;

struct Answer
{
    unsigned short status;
    std::string text;
    bool hasCookie;
    bool hasCacheControl;
    bool operator==(const Answer&) const = default;
};

Answer ask(LocalConnector& bus, const std::string& path, bool local = true)
{
    const auto reply =
        bus.createContext()->send(makeRequest(path, local), "connector/http/router").get();
    const auto& response = dynamic_cast<const HttpResponse&>(*reply);
    return {response.status, test::bodyOf(response), !response.cookies.empty(),
            response.headers.contains("Cache-Control")};
}

std::shared_ptr<ServiceProvider> constant(const char* text)
{
    return std::make_shared<HttpConstantServiceProvider>(200, text);
}

TEST(DefaultPipeline, HasEveryStageByDefaultAndLeavesOutOrChangesWhatTheOptionsSay)
{
    const auto usual = std::make_shared<LocalConnector>();
    DefaultPipeline(usual).mount("/a/", constant("a"));
    EXPECT_EQ(ask(*usual, "/a/x"), (Answer{200, "a", true, true}));
    EXPECT_EQ(ask(*usual, "/a", false),
              (Answer{403, "Only clients on this machine are served.", false, false}));
    EXPECT_EQ(ask(*usual, "/a/x.exe"),
              (Answer{403, "Files of this kind are not served.", false, false}));

    const auto bare = std::make_shared<LocalConnector>();
    DefaultPipelineOptions options;
    options.localHostFilter = options.sessions = options.responseHeaders = false;
    options.pathWhiteList = {{"/a.*"}};
    DefaultPipeline(bare, nullptr, options).mount("/", constant("all"));
    EXPECT_EQ(ask(*bare, "/A.exe", false), (Answer{200, "all", false, false}));
    EXPECT_EQ(ask(*bare, "/b").status, 403);

    options.pathWhiteList = {{"("}};
    EXPECT_THAT([&] { DefaultPipeline(bare, nullptr, options); },
                ThrowsMessage<std::invalid_argument>("Malformed pattern: ("));
}

TEST(DefaultPipeline, KeepsEachRouteToOneProviderAndItsNotFoundPageUntilThereIsAnother)
{
    const auto bus = std::make_shared<LocalConnector>();
    DefaultPipeline pipeline(bus);
    pipeline.mount("/a", constant("a"));
    EXPECT_EQ(ask(*bus, "/b").text, "No entry in the routing table to handle the path: /b");
    pipeline.mount("/gone", std::make_shared<HttpConstantServiceProvider>(404, "unseen"));
    EXPECT_EQ(ask(*bus, "/gone").text, "File not found.");
    EXPECT_THAT(
        [&] { pipeline.mount("/a/", constant("b")); },
        ThrowsMessage<std::invalid_argument>("The route is taken by another provider: /a/"));
    EXPECT_THAT([&] { pipeline.mount("b", constant("b")); },
                ThrowsMessage<std::invalid_argument>("A route begins with \"/\": b"));
    pipeline.mount("/", constant("page"));
    EXPECT_EQ(ask(*bus, "/gone"), (Answer{404, "page", true, true}));
    EXPECT_EQ(pipeline.router()->listRoutes().size(), 3U);
}

} // namespace
} // namespace connector::http
