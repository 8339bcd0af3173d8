#include "staticcontent/OpenFiles.h"

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <sched.h>

#include "contract/common/ManualTick.h"
#include "tests/support/TemporaryDirectory.h"

namespace connector::http::staticcontent {
namespace {

class OpenFilesTest : public testing::Test
{
protected:
    OpenFilesTest()
    {
        // Each processor has files of its own.
        cpu_set_t here;
        CPU_ZERO(&here);
        CPU_SET(static_cast<unsigned>(sched_getcpu()), &here);
        sched_setaffinity(0, sizeof(here), &here);
    }

    ~OpenFilesTest() override { sched_setaffinity(0, sizeof(before_), &before_); }

    OpenFiles::File open(const std::string& name)
    {
        const auto path = (directory_.path() / name).string();
        auto status = filesystem::status(path);
        return files_.open(path, status);
    }

    static cpu_set_t affinity()
    {
        cpu_set_t set;
        sched_getaffinity(0, sizeof(set), &set);
        return set;
    }

    const cpu_set_t before_ = affinity();
    const test::TemporaryDirectory directory_;
    common::ManualTick clock_;
    OpenFiles files_;
};

TEST_F(OpenFilesTest, AFileStaysOpenUntilItChanges)
{
    const struct
    {
        const char* change;
        std::function<void()> make;
    } cases[] = {
        {"written to", [this] { directory_.write("file", "new"); }},
        {"replaced",
         [this] {
             std::filesystem::rename(directory_.write("other", "new"), directory_.path() / "file");
         }},
    };
    for (const auto& [change, make] : cases) {
        SCOPED_TRACE(change);
        directory_.write("file", "old content");
        const auto opened = open("file");
        EXPECT_EQ(open("file"), opened);
        make();
        EXPECT_EQ(open("file")->read(0, 20).view(), "new");
    }
    const auto path = directory_.path() / "file";
    std::filesystem::remove(path);
    EXPECT_EQ(open("file"), nullptr);
    auto status = filesystem::status(directory_.write("file", "looked up"));
    std::filesystem::rename(directory_.write("other", "opened"), path);
    EXPECT_EQ(files_.open(path, status)->read(0, 20).view(), "opened");
    EXPECT_EQ(status.size, 6U) << "that of the file that was looked up";
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    EXPECT_EQ(files_.open(path, status = {}), nullptr);
}

TEST_F(OpenFilesTest, AFileThatIsNotReadAgainIsClosed)
{
    directory_.write("read", "");
    directory_.write("unread", "");
    const std::weak_ptr read = open("read");
    const std::weak_ptr unread = open("unread");
    for (int seconds = 0; seconds < 3; ++seconds) {
        clock_.advance(1000);
        open("read");
    }
    EXPECT_FALSE(read.expired());
    EXPECT_TRUE(unread.expired());
    for (int i = 0; i < 8; ++i) {
        const auto name = std::to_string(i);
        directory_.write(name, "");
        open(name);
    }
    EXPECT_TRUE(read.expired()) << "there is room for eight";
}

} // namespace
} // namespace connector::http::staticcontent
