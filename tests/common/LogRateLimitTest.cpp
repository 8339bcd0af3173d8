#include "contract/common/LogRateLimit.h"

#include <gmock/gmock.h>

#include "contract/common/ManualTick.h"
#include "tests/support/LogCapture.h"

namespace {

using connector::common::Level;

constexpr connector::common::Log kLog("connector::test");

TEST(LogRateLimit, CountsWhatItSuppresses)
{
    const connector::test::ScopedLogCapture capture(Level::Warning);
    connector::common::ManualTick clock;
    connector::common::LogRateLimit limit(2);
    for (const int records : {5, 2, 1}) {
        for (int i = 0; i < records; ++i) {
            EXPECT_FALSE(limit.admits(kLog, Level::Info));
            if (limit.admits(kLog, Level::Warning)) {
                kLog.write(Level::Warning, "fault");
            }
        }
        clock.advance(60'000);
    }
    EXPECT_THAT(capture.records(),
                testing::ElementsAre("connector::test: fault", "connector::test: fault",
                                     "connector::test: Suppressed records like the next: 3",
                                     "connector::test: fault", "connector::test: fault",
                                     "connector::test: fault"));
}

} // namespace
