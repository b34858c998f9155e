#include "pipeline/CircleMaskCache.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>

namespace quillet {
namespace {

TEST(CircleMaskCache, choosesAnEvenSideOfAtLeastTwo) {
    const std::pair<double, int> table[] = {{301, 302}, {300, 300}, {299, 300}, {0.4, 2},
                                            {0, 2},     {2.9, 2},   {3, 4},     {1, 2}};
    for (const auto& [diameter, side] : table)
        EXPECT_EQ(CircleMaskCache::sideFor(diameter), side) << diameter;
}

TEST(CircleMaskCache, drawsADiscHalfAPixelInside) {
    CircleMaskCache cache;
    for (const int side : {2, 10, 200}) {
        const CircleMask* mask = cache.mask(side);
        ASSERT_TRUE(mask);
        ASSERT_EQ(mask->side, side);
        const double sum = std::accumulate(mask->coverage.begin(), mask->coverage.end(), 0.0) / 255;
        EXPECT_NEAR(sum, M_PI * (side - 1) * (side - 1) / 4, 0.02 * side);
        EXPECT_EQ(mask->row(side / 2)[side / 2], side == 2 ? std::lround(M_PI / 16 * 255) : 255);
        EXPECT_EQ(mask->row(0)[0], side == 2 ? std::lround(M_PI / 16 * 255) : 0);
    }
    // The rim passes through the middle of the outermost pixels.
    EXPECT_NEAR(cache.mask(200)->row(100)[0], 127, 2);
}

TEST(CircleMaskCache, knowsWhereEachRowBeginsAndEnds) {
    CircleMaskCache cache;
    const CircleMask* mask = cache.mask(51);
    for (int y = 0; y < mask->side; ++y)
        for (int x = 0; x < mask->side; ++x) {
            const CircleMask::Span span = mask->spans[static_cast<std::size_t>(y)];
            const bool outside = x < span.begin || x >= span.end;
            EXPECT_FALSE(outside && mask->row(y)[x] != 0);
            const bool first = x == span.begin || x == span.end - 1;
            EXPECT_FALSE(first && mask->row(y)[x] == 0);
            EXPECT_EQ(mask->row(y)[x], mask->row(mask->side - 1 - y)[mask->side - 1 - x]);
        }
}

TEST(CircleMaskCache, keepsMasksOfOneSideOnceAndDropsAllForTheTwentyFifth) {
    CircleMaskCache cache;
    for (int i = 1; i <= 24; ++i) {
        EXPECT_TRUE(cache.mask(2 * i));
        EXPECT_TRUE(cache.mask(2 * i - 0.5)); // the same side
        EXPECT_EQ(cache.size(), static_cast<std::size_t>(i));
    }
    EXPECT_TRUE(cache.mask(48));
    EXPECT_EQ(cache.size(), 24U);
    EXPECT_TRUE(cache.mask(50));
    EXPECT_EQ(cache.size(), 1U);
}

TEST(CircleMaskCache, drawsNothingLargerThanAnyScreen) {
    CircleMaskCache cache;
    EXPECT_FALSE(cache.mask(1e6));
    EXPECT_FALSE(cache.mask(1e300));
    EXPECT_EQ(cache.size(), 0U);
}

TEST(CircleMaskCacheDeathTest, stopsForADiameterThatIsNoNumber) {
    EXPECT_DEATH(static_cast<void>(CircleMaskCache::sideFor(std::nan(""))), "diameter");
    EXPECT_DEATH(static_cast<void>(CircleMaskCache::sideFor(std::numeric_limits<double>::infinity())), "diameter");
}

} // namespace
} // namespace quillet
