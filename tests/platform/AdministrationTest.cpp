#include "contract/platform/Administration.h"

#include <gmock/gmock.h>

namespace {

using connector::administration::Administration;
using connector::administration::Command;
using testing::ElementsAre;
using testing::ThrowsMessage;

TEST(Administration, ListsAndRunsWhatWasAdded)
{
    Administration administration;
    administration.addCommand("b", "the second", [] { return std::string("text of b"); });
    administration.addCommand("a", "the first", [] { return std::string("text of a"); });
    EXPECT_THAT(administration.listCommands(),
                ElementsAre(Command{"a", "the first"}, Command{"b", "the second"}));
    EXPECT_EQ(administration.runCommand("b"), "text of b");
    EXPECT_THAT([&] { administration.addCommand("a", "another", nullptr); },
                ThrowsMessage<std::invalid_argument>("Command already exists: a"));
    EXPECT_EQ(administration.runCommand("a"), "text of a");
}

TEST(Administration, RefusesUnknownAndRemovedCommands)
{
    Administration administration;
    administration.addCommand("a", "", [] { return std::string(); });
    administration.removeCommand("a");
    administration.removeCommand("never added");
    EXPECT_THAT([&] { (void)administration.runCommand("a"); },
                ThrowsMessage<std::invalid_argument>("No such command: a"));
}

TEST(Administration, ACommandMayRemoveItselfAndFail)
{
    Administration administration;
    administration.addCommand("once", "", [&administration]() -> std::string {
        administration.removeCommand("once");
        throw std::runtime_error("failed");
    });
    EXPECT_THAT([&] { (void)administration.runCommand("once"); },
                ThrowsMessage<std::runtime_error>("failed"));
    EXPECT_THAT(administration.listCommands(), ElementsAre());
}

} // namespace
