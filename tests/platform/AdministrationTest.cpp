#include "contract/platform/Administration.h"

#include <gmock/gmock.h>

namespace {

using connector::administration::Administration;
using connector::administration::Command;
using testing::ElementsAre;
using testing::ThrowsMessage;

TEST(Administration, ListsRunsAndRemovesCommands)
{
    Administration administration;
    administration.addCommand("b", "the second", [] { return std::string("text of b"); });
    administration.addCommand("a", "the first", [&administration]() -> std::string {
        administration.removeCommand("a"); // no lock is held while it runs
        throw std::runtime_error("failed");
    });
    EXPECT_THAT([&] { administration.addCommand("b", "another", nullptr); },
                ThrowsMessage<std::invalid_argument>("Command already exists: b"));
    EXPECT_THAT(administration.listCommands(),
                ElementsAre(Command{"a", "the first"}, Command{"b", "the second"}));
    EXPECT_EQ(administration.runCommand("b"), "text of b");
    EXPECT_THAT([&] { (void)administration.runCommand("a"); },
                ThrowsMessage<std::runtime_error>("failed"));
    EXPECT_THAT([&] { (void)administration.runCommand("a"); },
                ThrowsMessage<std::invalid_argument>("No such command: a"));
}

} // namespace
