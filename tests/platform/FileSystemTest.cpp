#include "contract/platform/FileSystem.h"

#include <gmock/gmock.h>
#include <limits>
#include <sys/stat.h>

#include "contract/platform/ReadableFile.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

using namespace connector::filesystem;
using connector::test::TemporaryDirectory;

TEST(FileSystem, ListsDirectoriesAndReadsRegularFilesOnly)
{
    const TemporaryDirectory directory;
    const auto path = directory.path();
    ASSERT_EQ(::mkfifo((path / "pipe").c_str(), 0600), 0);
    std::filesystem::create_symlink("nowhere", path / "broken");
    EXPECT_THROW((void)listDirectory(path / "pipe"), std::filesystem::filesystem_error);
    EXPECT_FALSE(isReadable(path / "broken"));
    for (const auto* name : {"pipe", "broken", "."}) { // neither waited for nor read
        EXPECT_EQ(ReadableFile::open(path / name).read(0, 5).size(), 0U) << name;
    }
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
                testing::ThrowsMessage<ResourceShortage>("Out of memory!"));
#endif
}

} // namespace
