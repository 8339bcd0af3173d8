#include "server/websocket/AwakeWait.h"

#include <gtest/gtest.h>

namespace connector::http::websocket {
namespace {

/// Takes turns whose looks find nothing, or something at once.
class Talker
{
public:
    explicit Talker(AwakeWait::LastTurn& lastTurn) : wait_(lastTurn) {}

    /// @return of so many turns those that looked.
    int turns(int count, bool finds)
    {
        int looked = 0;
        for (int turn = 0; turn < count; ++turn) {
            bool looks = false;
            const auto found = wait_.waitUntil([&] {
                looks = true;
                return finds;
            });
            EXPECT_EQ(found, looks && finds);
            looked += looks ? 1 : 0;
        }
        return looked;
    }

private:
    AwakeWait wait_;
};

TEST(AwakeWaitTest, LooksForOneWhoTalksAloneAndLessAndLessInVain)
{
    AwakeWait::LastTurn lastTurn = nullptr;
    Talker first(lastTurn);
    Talker second(lastTurn);
    EXPECT_EQ(first.turns(1, true), 0) << "another may have talked before";
    EXPECT_EQ(first.turns(100, true), 100);
    EXPECT_EQ(second.turns(1, true), 0);
    EXPECT_EQ(first.turns(1, true), 0);
    EXPECT_EQ(first.turns(777, false), 10) << "1, 2, 4 ... 256, 256 turns lie between them";
    EXPECT_EQ(first.turns(100, true), 100);
}

} // namespace
} // namespace connector::http::websocket
