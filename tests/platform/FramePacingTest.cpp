#include "platform/FramePacing.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace quillet {
namespace {

using namespace std::chrono_literals;
using Cause = FramePacing::Cause;
using Clock = FramePacing::Clock;

constexpr Clock::time_point start{1h};

/// A hundred frames a second.
class Pacing : public testing::Test {
protected:
    void frames(std::initializer_list<Cause> causes) {
        for (const Cause cause : causes)
            pacing.tookPlaceAt(pacing.due(cause), cause);
    }

    FramePacing pacing{100};
};

TEST_F(Pacing, keepsItsGridWhereFramesAreALittleLate) {
    pacing.tookPlaceAt(start);
    EXPECT_EQ(pacing.due(), start + 10ms);
    pacing.tookPlaceAt(start + 12ms);
    EXPECT_EQ(pacing.due(), start + 20ms);
    pacing.tookPlaceAt(start + 23ms);
    EXPECT_EQ(pacing.due(), start + 33ms) << "too late for the grid";
}

TEST_F(Pacing, ourFramesWaitForOthersInMotion) {
    pacing.tookPlaceAt(start);
    frames({Cause::others, Cause::others});
    EXPECT_EQ(pacing.due(Cause::others), start + 30ms);
    EXPECT_GT(pacing.due(Cause::ours), start + 31ms);
    EXPECT_LT(pacing.due(Cause::ours), start + 32ms) << "so late that the grid would move";
}

TEST_F(Pacing, aFrameThatWaitedDoesNotMoveTheGrid) {
    pacing.tookPlaceAt(start);
    frames({Cause::others, Cause::ours});
    EXPECT_EQ(pacing.due(Cause::others), start + 30ms);
}

TEST_F(Pacing, ourFramesDoNotWaitWhereNothingElseMoves) {
    EXPECT_EQ(pacing.due(Cause::ours), pacing.due(Cause::others)) << "at the beginning";
    pacing.tookPlaceAt(start);
    frames({Cause::others, Cause::others, Cause::ours, Cause::ours});
    EXPECT_EQ(pacing.due(Cause::ours), pacing.due(Cause::others));
    frames({Cause::others});
    EXPECT_GT(pacing.due(Cause::ours), pacing.due(Cause::others));
}

TEST_F(Pacing, oneChangeAfterARestIsNoMotion) {
    pacing.tookPlaceAt(start);
    pacing.tookPlaceAt(start + 500ms, Cause::others);
    EXPECT_EQ(pacing.due(Cause::ours), pacing.due(Cause::others));
    pacing.tookPlaceAt(start + 510ms, Cause::others);
    EXPECT_GT(pacing.due(Cause::ours), pacing.due(Cause::others));
}

} // namespace
} // namespace quillet
