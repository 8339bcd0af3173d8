#include "contract/platform/FileSystem.h"

#include <gmock/gmock.h>
#include <limits>
#include <map>
#include <sys/stat.h>

#include "tests/support/TemporaryDirectory.h"

namespace {

using namespace connector::filesystem;
namespace fs = connector::filesystem;
using connector::test::TemporaryDirectory;
using testing::Pair;
using testing::UnorderedElementsAre;

TEST(FileSystem, PathsHoldUtf8WhateverTheLocale)
{
    const std::wstring wide = L"/s\u00FC\u00DF/\U0001F600";
    EXPECT_EQ(fromWide(wide).native(), "/s\xC3\xBC\xC3\x9F/\xF0\x9F\x98\x80");
    EXPECT_EQ(toWide(fromWide(wide)), wide);
    EXPECT_EQ(toUtf8(Path("/a\xFF")), "/a\xFF");
    EXPECT_THROW((void)toWide(Path("/a\xFF")), std::invalid_argument);
}

TEST(FileSystem, SeesWhatLinksLeadTo)
{
    const TemporaryDirectory directory;
    const auto path = [&](const char* name) { return directory.path() / name; };
    const auto file = directory.write("\xFF\"&", "12345");
    directory.write("sub/.hidden", "");
    std::filesystem::create_symlink(file, path("link"));
    std::filesystem::create_symlink("sub", path("dirlink"));
    std::filesystem::create_symlink("nowhere", path("broken"));
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);

    std::map<std::string, FileType> listed;
    for (const auto& entry : listDirectory(directory.path())) {
        listed[entry.name] = entry.type;
        EXPECT_EQ(fs::status(path(entry.name.c_str())).type, entry.type) << entry.name;
    }
    EXPECT_THAT(listed, UnorderedElementsAre(
                            Pair("\xFF\"&", FileType::Regular), Pair("sub", FileType::Directory),
                            Pair("link", FileType::Regular), Pair("dirlink", FileType::Directory),
                            Pair("broken", FileType::None), Pair("pipe", FileType::Other)));
    EXPECT_EQ(listDirectory(path("sub")).at(0).name, ".hidden");
    EXPECT_THROW((void)listDirectory(path("missing")), std::filesystem::filesystem_error);
    EXPECT_FALSE(fs::exists(path("broken")));
    EXPECT_TRUE(isReadable(path("link")));
    EXPECT_FALSE(isReadable(path("broken")));
    // Neither waited for nor read:
    EXPECT_EQ(readFile(path("pipe"), 0, 5).size(), 0U);
    EXPECT_EQ(readFile(path("sub"), 0, 5).size(), 0U);
    EXPECT_EQ(readFile(path("missing"), 0, 5).size(), 0U);
}

TEST(FileSystem, AppendNeverLeavesTheDirectory)
{
    const Path base = "/srv/site";
    EXPECT_EQ(append(base, "..."), "/srv/site/...");
    EXPECT_EQ(append(base, ""), base);
    EXPECT_EQ(append(base, "."), base);
    for (const std::string_view bad :
         {std::string_view(".."), std::string_view("/etc"), std::string_view("a/../../b"),
          std::string_view("/"), std::string_view("a\0b", 3), std::string_view("..\0", 3)}) {
        EXPECT_THROW((void)append(base, bad), std::invalid_argument) << bad;
    }
}

TEST(ReadFile, GivesThePartThatThereIs)
{
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "0123456789");
    constexpr auto kMost = std::numeric_limits<std::uint64_t>::max();
    const std::tuple<std::uint64_t, std::uint64_t, const char*> cases[] = {
        {3, 4, "3456"}, {8, 10, "89"}, {10, 1, ""}, {99, 5, ""}, {0, 0, ""}, {kMost, 1, ""}};
    for (const auto& [offset, length, expected] : cases) {
        EXPECT_EQ(readFile(file, offset, length).view(), expected) << offset << "+" << length;
    }
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // they end the process instead
    EXPECT_THAT([&] { (void)readFile(file, 0, kMost); },
                testing::ThrowsMessage<std::runtime_error>("Out of memory!"));
#endif
}

} // namespace
