#include "contract/platform/FileSystem.h"

#include <gmock/gmock.h>
#include <limits>
#include <sys/stat.h>

#include "contract/platform/FilePublisher.h"
#include "tests/support/RecordingSubscriber.h"
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
    const auto file = std::make_shared<const ReadableFile>(
        ReadableFile::open(directory.write("file", "0123456789")));
    const auto publish = [&file](std::uint64_t offset, std::uint64_t length) {
        const auto subscriber =
            std::make_shared<connector::test::RecordingSubscriber<connector::common::DataBuffer>>();
        const auto publisher = std::make_shared<FilePublisher>(FileRange{file, offset, length});
        publisher->subscribe(subscriber);
        subscriber->subscription->request(1);
        return subscriber;
    };
    constexpr auto kMost = std::numeric_limits<std::uint64_t>::max();
    const std::tuple<std::uint64_t, std::uint64_t, const char*> cases[] = {
        {3, 4, "3456"}, {8, 10, "89"}, {10, 1, ""}, {99, 5, ""}, {0, 0, ""}, {kMost, 1, ""}};
    for (const auto& [offset, length, expected] : cases) {
        EXPECT_EQ(publish(offset, length)->items.at(0).view(), expected) << offset << "+" << length;
    }
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // they end the process instead
    EXPECT_THAT([&] { std::rethrow_exception(publish(0, kMost)->failure); },
                testing::ThrowsMessage<ResourceShortage>("Out of memory!"));
#endif
}

} // namespace
