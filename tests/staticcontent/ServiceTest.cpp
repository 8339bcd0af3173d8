#include <filesystem>
#include <sys/resource.h>

#include "contract/messaging/LocalConnector.h"
#include "contract/platform/LayeredConfiguration.h"
#include "staticcontent/KorvelToolboxStaticContentServiceProvider.h"
#include "staticcontent/StaticContentManagerJsonSerialization.h"
#include "staticcontent/StaticContentManagerServiceProviderImpl.h"
#include "tests/staticcontent/ContentFixture.h"
#include "tests/support/FailureText.h"
#include "tests/support/LogCapture.h"

namespace connector::http {
namespace {

class DirectoryListingTest : public ContentFixture
{
protected:
    DirectoryListingTest() { makeService(); }

    void makeService()
    {
        service_ = std::make_shared<StaticContentServiceImpl>(configuration_, Routes(),
                                                              CacheFlags(), true);
        mount("/docs", "");
    }

    /// The status of a directory's answer once the setting has that value.
    int statusWith(configuration::Value value)
    {
        configuration_->set("connector.directoryListing", std::move(value), "host");
        return get("/docs/").status;
    }

    const std::shared_ptr<configuration::LayeredConfiguration> configuration_ =
        std::make_shared<configuration::LayeredConfiguration>();
};

TEST_F(DirectoryListingTest, LinksTheParentThenDirectoriesThenTheRest)
{
    for (const auto* name : {"b.txt", "A.txt", ".hidden", "a\"&<\xFF.txt", "sub/x"}) {
        directory_.write(name, "");
    }
    std::filesystem::create_symlink("sub", directory_.path() / "link");
    std::filesystem::create_symlink("nowhere", directory_.path() / "broken");

    const auto reply = get("/docs/");
    EXPECT_EQ(reply.status, 200);
    EXPECT_TRUE(reply.headers.empty());
    EXPECT_EQ(reply.body, "<html><body>\n"
                          "<b><a href=\"/docs/..\">..</a></b><br>\n"
                          "<b><a href=\"/docs/link\">link</a><br></b>\n"
                          "<b><a href=\"/docs/sub\">sub</a><br></b>\n"
                          "<a href=\"/docs/.hidden\">.hidden</a><br>\n"
                          "<a href=\"/docs/A.txt\">A.txt</a><br>\n"
                          "<a href=\"/docs/a\"&<\xFF.txt\">a\"&<\xFF.txt</a><br>\n"
                          "<a href=\"/docs/b.txt\">b.txt</a><br>\n"
                          "<a href=\"/docs/broken\">broken</a><br>\n"
                          "</body></html>\n");
    EXPECT_NE(get("/docs/sub").body.find("<a href=\"/docs/sub/x\">"), std::string::npos);
    const auto bare = get("/docs/", {}, "head");
    EXPECT_EQ(bare.status, 200);
    EXPECT_EQ(bare.body, "");
}

TEST_F(DirectoryListingTest, FollowsTheConfiguration)
{
    EXPECT_EQ(get("/docs/").status, 200);
    EXPECT_EQ(statusWith(false), 404);
    EXPECT_EQ(statusWith(1), 404) << "a value that is no bool must change nothing";
    EXPECT_EQ(statusWith(true), 200);
    statusWith(false);
    makeService();
    EXPECT_EQ(get("/docs/").status, 404) << "a higher layer outranks the constructor";
    statusWith(std::string("yes"));
    const test::ScopedLogCapture capture(common::Level::Warning);
    makeService();
    EXPECT_EQ(get("/docs/").status, 200) << "the constructor's flag stays";
    EXPECT_EQ(statusWith(1), 200);
    EXPECT_EQ(capture.records().size(), 2U);
    EXPECT_EQ(statusWith(false), 404) << "the setting is followed all the same";
}

#if !defined(__SANITIZE_ADDRESS__) // its check of virtual calls needs descriptors itself
TEST_F(DirectoryListingTest, AShortageOfDescriptorsIsNoMissingFile)
{
    directory_.write("x", "");
    rlimit before = {};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none = {0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    auto file = get("/docs/x");
    const auto listing = get("/docs/");
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(file.status, 503);
    EXPECT_EQ(file.headers["Cache-Control"], "no-store");
    EXPECT_EQ(listing.status, 503);
}
#endif

TEST_F(ContentFixture, AMessageMakesADirectoryReachable)
{
    const auto serializer = std::make_shared<json::JsonSerializer>();
    const StaticContentManagerJsonSerialization serialization(serializer);
    StaticContentManagerServiceProviderImpl manager(service_);
    const auto path = directory_.write("\xC3\xA4/a.txt", "A").parent_path().native();
    const auto text = R"({"enableCache":true,"path":")" + path + R"(","route":"/docs"})";
    auto message = serializer->fromText("connector/http/AddStaticContentPath", text);
    EXPECT_EQ(serializer->toText(*message), text);

    const auto answer = manager.deliver(std::move(message), {}, nullptr).get();
    EXPECT_NE(messageAs<Message>(answer), nullptr);
    EXPECT_EQ(get("/docs/a.txt").headers["Cache-Control"], "max-age=2592000");
    for (const auto* method : {"post", "GET", ""}) {
        auto refusal = get("/docs/a.txt", {}, method);
        EXPECT_EQ(refusal.headers["Allow"], "GET, HEAD");
        EXPECT_EQ(refusal.body, "Method not allowed.");
    }
    for (const auto* route : {"", "/my-app", "/a_b", "/a b", "/a\n", "/\xC3\xA4", "/.."}) {
        EXPECT_EQ(test::failureOf([&] { return mount(route, ""), 0; }),
                  "URL path must be alpha-numeric");
    }
}

TEST_F(ContentFixture, TheToolboxProviderForwards)
{
    const auto connector = std::make_shared<LocalConnector>();
    connector->registerProvider("toolbox",
                                std::make_shared<KorvelToolboxStaticContentServiceProvider>());
    connector->registerProvider("files", std::make_shared<StaticContentServiceProvider>(service_));
    const auto answer =
        connector->createContext()->send(test::makeHttpRequest("/", "put"), "toolbox/files").get();
    EXPECT_EQ(messageAs<HttpResponse>(answer)->status, 405);
}

} // namespace
} // namespace connector::http
