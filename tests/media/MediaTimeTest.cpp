#include "media/MediaTime.h"

#include <gtest/gtest.h>

#include <limits>

namespace quillet {
namespace {

TEST(MediaTime, comparesAcrossTimescales) {
    EXPECT_EQ((MediaTime{1, 60}), (MediaTime{1500, 90000}));
    EXPECT_LT((MediaTime{1, 60}), (MediaTime{16667, 1'000'000}));
    EXPECT_GT((MediaTime{1, 60}), (MediaTime{16666, 1'000'000}));
    EXPECT_LT((MediaTime{-1, 3}), (MediaTime{0, 1}));
    // Products beyond 64 bits still compare.
    EXPECT_LT((MediaTime{std::numeric_limits<std::int64_t>::max() - 1, 1'000'000'000}),
              (MediaTime{std::numeric_limits<std::int64_t>::max(), 1'000'000'000}));
}

TEST(MediaTime, convertsToTheNearestValueWithHalvesAwayFromZero) {
    EXPECT_EQ((MediaTime{1, 60}.valueIn(90000)), 1500);
    EXPECT_EQ((MediaTime{1, 2}.valueIn(1)), 1);
    EXPECT_EQ((MediaTime{-1, 2}.valueIn(1)), -1);
    EXPECT_EQ((MediaTime{1, 3}.valueIn(1)), 0);
    EXPECT_EQ((MediaTime{7'200'000'000'000, 1'000'000}.valueIn(48000)), 345'600'000'000);
}

TEST(MediaTime, addsAndSubtractsExactlyWhereACommonTimescaleFits) {
    EXPECT_EQ((MediaTime{1, 60} + MediaTime{1, 48000}), (MediaTime{801, 48000}));
    EXPECT_EQ((MediaTime{5, 60} - MediaTime{1, 25}), (MediaTime{13, 300}));
    EXPECT_EQ((MediaTime{2, 1} + MediaTime{1, 1'000'000}).value, 2'000'001);
}

TEST(MediaTimeDeathTest, anOverflowStopsTheProgram) {
    EXPECT_DEATH((void)(MediaTime{std::numeric_limits<std::int64_t>::max(), 1}.valueIn(2)), "overflow");
}

TEST(MediaTime, followsTheMonotonicClockInMicroseconds) {
    const auto moment = std::chrono::steady_clock::time_point(std::chrono::microseconds(1'234'567'891));
    EXPECT_EQ(mediaTimeAt(moment), (MediaTime{1'234'567'891, 1'000'000}));
    const MediaTime before = mediaTimeNow();
    EXPECT_LE(before, mediaTimeNow());
}

} // namespace
} // namespace quillet
