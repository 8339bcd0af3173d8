#include "contract/platform/FileSystem.h"

#include <gmock/gmock.h>
#include <limits>
#include <map>
#include <sys/stat.h>

#include "contract/platform/ReadableFile.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

using namespace connector::filesystem;
namespace fs = connector::filesystem;
using connector::test::TemporaryDirectory;
using testing::Pair;
using testing::UnorderedElementsAre;

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
    EXPECT_TRUE(isReadable(path("link")));
    EXPECT_FALSE(isReadable(path("broken")));
    // Neither waited for nor read:
    EXPECT_EQ(ReadableFile::open(path("pipe")).read(0, 5).size(), 0U);
    EXPECT_EQ(ReadableFile::open(path("sub")).read(0, 5).size(), 0U);
    EXPECT_EQ(ReadableFile::open(path("missing")).read(0, 5).size(), 0U);
}

TEST(ReadableFile, GivesThePartThatThereIs)
{
    const TemporaryDirectory directory;
    const auto file = ReadableFile::open(directory.write("file", "0123456789"));
    constexpr auto kMost = std::numeric_limits<std::uint64_t>::max();
    const std::tuple<std::uint64_t, std::uint64_t, const char*> cases[] = {
        {3, 4, "3456"}, {8, 10, "89"}, {10, 1, ""}, {99, 5, ""}, {0, 0, ""}, {kMost, 1, ""}};
    for (const auto& [offset, length, expected] : cases) {
        EXPECT_EQ(file.read(offset, length).view(), expected) << offset << "+" << length;
    }
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // they end the process instead
    EXPECT_THAT([&] { (void)file.read(0, kMost); },
                testing::ThrowsMessage<std::runtime_error>("Out of memory!"));
#endif
}

} // namespace
