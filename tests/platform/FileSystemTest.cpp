#include "contract/platform/FileSystem.h"

#include <fcntl.h>
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

TEST(FileSystem, StatusFollowsLinks)
{
    const TemporaryDirectory directory;
    const auto file = directory.write("file", "12345");
    const auto link = directory.path() / "link";
    std::filesystem::create_symlink(file, link);
    std::filesystem::create_symlink("nowhere", directory.path() / "broken");
    std::filesystem::create_symlink(directory.path(), directory.path() / "dirlink");
    const timespec times[2] = {{1'700'000'000, 999'999'999}, {1'700'000'000, 999'999'999}};
    ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);

    EXPECT_EQ(fs::status(link).type, FileType::Regular);
    EXPECT_EQ(fs::status(link).size, 5U);
    EXPECT_EQ(fs::status(link).lastWriteSeconds, 1'700'000'000);
    EXPECT_EQ(fs::status(directory.path()).type, FileType::Directory);
    EXPECT_EQ(fs::status("/dev/null").type, FileType::Other);
    EXPECT_FALSE(fs::exists(directory.path() / "broken"));
    EXPECT_FALSE(fs::exists(file / "below"));
    EXPECT_TRUE(isReadable(link));
    EXPECT_FALSE(isReadable(directory.path() / "broken"));
}

TEST(FileSystem, ListsEverythingByTheTypeOfItsTarget)
{
    const TemporaryDirectory directory;
    directory.write(".hidden", "");
    directory.write("sub/file", "");
    directory.write("\xFF\"&", "");
    std::filesystem::create_symlink("sub", directory.path() / "link");
    std::filesystem::create_symlink("nowhere", directory.path() / "broken");
    ASSERT_EQ(::mkfifo((directory.path() / "pipe").c_str(), 0600), 0);

    std::map<std::string, FileType> listed;
    for (const auto& entry : listDirectory(directory.path())) {
        listed[entry.name] = entry.type;
    }
    EXPECT_THAT(listed, UnorderedElementsAre(
                            Pair(".hidden", FileType::Regular), Pair("sub", FileType::Directory),
                            Pair("\xFF\"&", FileType::Regular), Pair("link", FileType::Directory),
                            Pair("broken", FileType::None), Pair("pipe", FileType::Other)));
    EXPECT_THROW((void)listDirectory(directory.path() / "missing"),
                 std::filesystem::filesystem_error);
}

TEST(FileSystem, AppendNeverLeavesTheDirectory)
{
    const Path base = "/srv/site";
    EXPECT_EQ(append(base, "a b.html"), "/srv/site/a b.html");
    EXPECT_EQ(append(base, "..."), "/srv/site/...");
    EXPECT_EQ(append(base, "C:"), "/srv/site/C:");
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
    const struct
    {
        std::uint64_t offset;
        std::uint64_t length;
        std::string_view expected;
    } cases[] = {
        {0, 10, "0123456789"},
        {3, 4, "3456"},
        {8, 10, "89"},
        {10, 1, ""},
        {99, 5, ""},
        {0, 0, ""},
        {std::numeric_limits<std::uint64_t>::max(), 1, ""},
    };
    for (const auto& [offset, length, expected] : cases) {
        SCOPED_TRACE(testing::Message() << offset << "+" << length);
        EXPECT_EQ(readFile(file, offset, length).view(), expected);
    }
    EXPECT_EQ(readFile(directory.path() / "missing", 0, 5).size(), 0U);
    EXPECT_THAT([&] { (void)readFile(file, 0, std::numeric_limits<std::uint64_t>::max()); },
                testing::ThrowsMessage<std::runtime_error>("Out of memory!"));
}

TEST(ReadFile, NeitherBlocksOnNorReadsWhatIsNoRegularFile)
{
    const TemporaryDirectory directory;
    const auto pipe = directory.path() / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(readFile(pipe, 0, 5).size(), 0U);
    EXPECT_EQ(readFile(directory.path(), 0, 5).size(), 0U);
}

} // namespace
