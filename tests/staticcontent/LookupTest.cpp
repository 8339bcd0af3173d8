#include <filesystem>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "tests/staticcontent/ContentFixture.h"

namespace connector::http {
namespace {

using namespace std::string_view_literals;

class LookupTest : public ContentFixture
{
protected:
    /// Makes files below the directory; the content of each is its name.
    void makeFiles(std::initializer_list<const char*> names)
    {
        for (const auto* name : names) {
            directory_.write(name, name);
        }
    }

    /// The name of the file that is served for @p path, or the error.
    std::string served(std::string_view path)
    {
        const auto reply = get(path);
        EXPECT_EQ(reply.status, reply.body == "File not found." ? 404 : 200);
        return reply.status == 404 ? "404" : reply.body;
    }
};

TEST_F(LookupTest, TakesTheFirstRouteThatHasTheFile)
{
    makeFiles({"secret", "root/index.html", "root/plain", "root/empty/only", "root/etc/passwd",
               "root/..x/...", "root/x\xFF", "a/index.html", "a/own", "a/b/fallback", "ab/own",
               "ab/\xC3\xA4 b"});
    mount("/a/", "a");
    mount("/a/b", "ab");
    mount("/", "root/");
    service_->addStaticContentPath("/nowhere", L"", false);

    const std::pair<const char*, const char*> cases[] = {{"", "root/index.html"},
                                                         {"/./plain", "root/plain"},
                                                         {"//etc/passwd", "root/etc/passwd"},
                                                         {"/..x/...", "root/..x/..."},
                                                         {"/a//own", "a/own"},
                                                         {"/a/.", "a/index.html"},
                                                         {"/a/b/own", "ab/own"},
                                                         {"/a/b/fallback", "a/b/fallback"},
                                                         {"/a/b/\xC3\xA4 b", "ab/\xC3\xA4 b"}};
    for (const auto& [path, file] : cases) {
        EXPECT_EQ(served(path), file) << path;
    }
    const auto tooLong = "/" + std::string(300, 'x');
    for (const std::string_view path :
         {"/a"sv, "/ab/own"sv, "/plain/"sv, "/plain/."sv, "/empty"sv, "/../secret"sv, "/a/.."sv,
          "/empty/../plain"sv, "/a/b/../own"sv, "/plain\0.html"sv, "/x\xFF"sv,
          "/nowhere/etc/passwd"sv, std::string_view(tooLong)}) {
        EXPECT_EQ(served(path), "404") << path;
    }
}

TEST_F(LookupTest, FollowsLinksAndOpensRegularFilesOnly)
{
    makeFiles({"outside", "root/sub/index.html"});
    mount("/", "root");
    const auto root = directory_.path() / "root";
    std::filesystem::create_symlink("../outside", root / "file");
    std::filesystem::create_symlink("sub", root / "directory");
    std::filesystem::create_symlink("/dev/zero", root / "device");
    ASSERT_EQ(mkfifo((root / "fifo").c_str(), 0600), 0);
    std::filesystem::create_directories(root / "odd/index.html");

    EXPECT_EQ(served("/file"), "outside");
    EXPECT_EQ(served("/directory"), "root/sub/index.html");
    for (const auto* path : {"/device", "/fifo", "/odd"}) {
        EXPECT_EQ(served(path), "404") << path;
    }
}

TEST_F(LookupTest, SkipsWhatItMayNotRead)
{
    makeFiles({"first/a", "second/first/a"});
    mount("/", "second");
    mount("/first", "first");
    std::filesystem::permissions(directory_.path(), std::filesystem::perms(0755));
    std::filesystem::permissions(directory_.path() / "first/a", std::filesystem::perms::none);
    const auto user = geteuid();
    if (user == 0) { // for whom every file is readable
        ASSERT_EQ(seteuid(65534), 0);
    }
    EXPECT_EQ(served("/first/a"), "second/first/a");
    EXPECT_EQ(seteuid(user), 0);
}

TEST_F(LookupTest, RoutesAreAddedWhileRequestsAreServed)
{
    constexpr int kRoutes = 300;
    makeFiles({"one/x", "two/x"});
    mount("/", "one");
    {
        const auto add = [this](const std::string& name) {
            for (int i = 0; i < kRoutes; ++i) {
                mount(name + std::to_string(i), "two");
            }
        };
        const std::jthread adding(add, "/a");
        for (int i = 0; i < kRoutes; ++i) {
            EXPECT_EQ(served("/x"), "one/x");
        }
    }
    for (int i = 0; i < kRoutes; ++i) {
        EXPECT_EQ(served("/a" + std::to_string(i) + "/x"), "two/x");
    }
}

} // namespace
} // namespace connector::http
