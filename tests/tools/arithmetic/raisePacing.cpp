#include "tools/RaisePacing.h"

#include <gtest/gtest.h>

namespace quillet {
namespace {

using std::chrono::milliseconds;

TEST(RaisePacing, raisesAtOnceUntilItBecomesAFight) {
    RaisePacing pacing;
    RaisePacing::Clock::time_point now{std::chrono::hours(5)};
    const auto start = now;
    for (std::size_t i = 0; i < RaisePacing::burst; ++i, now += milliseconds(10)) {
        EXPECT_EQ(pacing.waitAt(now).count(), 0) << i;
        pacing.raisedAt(now);
    }
    EXPECT_EQ(pacing.waitAt(now), start + RaisePacing::window - now);
    EXPECT_EQ(pacing.waitAt(start + RaisePacing::window).count(), 0);
    pacing.raisedAt(start + RaisePacing::window);
    EXPECT_EQ(pacing.waitAt(start + RaisePacing::window), milliseconds(10)) << "the second of the burst counts now";
}

} // namespace
} // namespace quillet
