#include "media/PixelRect.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace quillet {
namespace {

TEST(PixelRect, flipsBetweenMemoryRowsAndTheDisplaysUpwardAxisBothWays) {
    EXPECT_EQ(toMemoryRows({100, 0, 20, 10}, 1080), (PixelRect{100, 1070, 20, 10}));
    EXPECT_EQ(toMemoryRows({0, 1070, 20, 10}, 1080), (PixelRect{0, 0, 20, 10}));
    EXPECT_EQ(toMemoryRows({-5, -4, 10, 10}, 100), (PixelRect{-5, 94, 10, 10}));
    for (const PixelRect& rect : {PixelRect{3, 5, 7, 11}, PixelRect{-3, 90, 20, 20}, PixelRect{0, 0, 1, 1}})
        EXPECT_EQ(toMemoryRows(fromMemoryRows(rect, 100), 100), rect);
}

TEST(PixelRectDeathTest, aFractionalRectangleIsABug) {
    EXPECT_DEATH((void)toMemoryRows({0.5, 0, 2, 2}, 100), "not whole");
    EXPECT_DEATH((void)toMemoryRows({0, 0, 1e12, 2}, 100), "not whole");
}

TEST(PixelRect, intersectsAndUnites) {
    const PixelRect a{0, 0, 10, 10};
    EXPECT_EQ(a.intersection({5, 6, 10, 10}), (PixelRect{5, 6, 5, 4}));
    EXPECT_TRUE(a.intersection({10, 0, 5, 5}).isEmpty());
    EXPECT_EQ(a.united({20, 20, 1, 1}), (PixelRect{0, 0, 21, 21}));
    EXPECT_EQ(a.united({50, 50, 0, 3}), a);
    EXPECT_EQ((PixelRect{}.united(a)), a);
    EXPECT_EQ(a.grownBy(2), (PixelRect{-2, -2, 14, 14}));
}

TEST(PixelRegion, neverCoversLessThanWasAddedAndStaysSmall) {
    std::mt19937 random(7);
    std::uniform_int_distribution<int> place(0, 90);
    std::uniform_int_distribution<int> extent(0, 12);
    for (int round = 0; round < 40; ++round) {
        PixelRegion region;
        std::vector<bool> added(100 * 110, false);
        for (int i = 0; i < 60; ++i) {
            const PixelRect rect{place(random), place(random), extent(random), extent(random)};
            region.add(rect);
            for (int y = rect.y; y < std::min(rect.bottom(), 110); ++y)
                for (int x = rect.x; x < std::min(rect.right(), 100); ++x)
                    added[static_cast<std::size_t>(y * 100 + x)] = true;
            ASSERT_LE(region.rects().size(), PixelRegion::maximumRects);
        }
        for (int y = 0; y < 110; ++y)
            for (int x = 0; x < 100; ++x)
                if (added[static_cast<std::size_t>(y * 100 + x)]) {
                    ASSERT_TRUE(region.intersects({x, y, 1, 1})) << x << "," << y;
                }
    }
}

TEST(PixelRegion, keepsFarApartRectanglesApart) {
    PixelRegion region;
    region.add({0, 0, 10, 10});
    region.add({1000, 1000, 10, 10});
    EXPECT_EQ(region.rects().size(), 2u);
    EXPECT_FALSE(region.intersects({500, 500, 10, 10}));
    region.add({2, 2, 3, 3});
    EXPECT_EQ(region.rects().size(), 2u) << "what is covered already adds nothing";
    region.clipTo({0, 0, 100, 100});
    EXPECT_EQ(region.rects(), (std::vector<PixelRect>{{0, 0, 10, 10}}));
    EXPECT_EQ(region.bounds(), (PixelRect{0, 0, 10, 10}));
}

} // namespace
} // namespace quillet
