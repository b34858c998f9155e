#include "platform/x11/CoveredMemory.h"

#include "platform/x11/LearnedWallpaper.h"
#include "platform/x11/regions.h"

#include <gtest/gtest.h>

#include <array>

namespace quillet {
namespace {

using namespace std::chrono_literals;

const QRegion screen(0, 0, 100, 100);
const QRegion left(0, 0, 40, 100);
const QRegion corner(0, 0, 10, 10);
const CoveredMemory::Clock::time_point start{1h};

CoveredMemory upToDate() {
    CoveredMemory memory;
    memory.begin(screen);
    memory.bringUpToDate();
    return memory;
}

TEST(CoveredMemory, beginsWithEverythingOutOfDate) {
    CoveredMemory memory;
    memory.begin(screen);
    memory.cover(left, Compositing::byManager, start);
    EXPECT_EQ(memory.toFetch(), screen - left);
    EXPECT_EQ(memory.toRebuild(), left);
}

TEST(CoveredMemory, fetchesOutsideOursAndRebuildsBeneath) {
    CoveredMemory memory = upToDate();
    memory.cover(left, Compositing::byServer, start);
    memory.bringUpToDate();
    memory.changeScreen(screen, start);
    EXPECT_EQ(memory.toFetch(), screen - left);
    EXPECT_TRUE(memory.toRebuild().isEmpty());
    memory.changeGround(corner, start);
    EXPECT_EQ(memory.toRebuild(), corner);
}

TEST(CoveredMemory, rebuildsWhatOursCoverWhenTheServerComposes) {
    CoveredMemory memory = upToDate();
    memory.cover(left, Compositing::byServer, start);
    EXPECT_EQ(memory.toRebuild(), left);
}

TEST(CoveredMemory, keepsWhatOursCoverUnderAManagerExceptWhatHasJustChanged) {
    CoveredMemory memory = upToDate();
    memory.changeGround(corner, start);
    memory.cover(left, Compositing::byManager, start + 100ms);
    EXPECT_EQ(memory.toRebuild(), corner);
    // Drawn and since then undisturbed, or drawn nowhere at all for as long as a manager may take.
    CoveredMemory drawn = upToDate();
    drawn.changeGround(corner, start);
    drawn.changeScreen(corner, start + 100ms);
    drawn.bringUpToDate();
    drawn.cover(left, Compositing::byManager, start + 300ms);
    EXPECT_TRUE(drawn.isCurrent());
    CoveredMemory late = upToDate();
    late.changeGround(corner, start);
    late.cover(left, Compositing::byManager, start + 2900ms);
    EXPECT_EQ(late.toRebuild(), corner);
    CoveredMemory hidden = upToDate();
    hidden.changeGround(corner, start);
    hidden.cover(left, Compositing::byManager, start + 3s);
    EXPECT_TRUE(hidden.isCurrent());
}

TEST(CoveredMemory, fetchesWhatOursHaveUncovered) {
    CoveredMemory memory = upToDate();
    memory.cover(left, Compositing::byManager, start);
    memory.cover({}, Compositing::byManager, start + 1s);
    EXPECT_EQ(memory.toFetch(), left);
}

TEST(CoveredMemory, takesNoNoticeOfWhatLiesOutsideTheArea) {
    CoveredMemory memory = upToDate();
    memory.cover(QRegion(90, 90, 50, 50), Compositing::byServer, start);
    EXPECT_EQ(memory.covered(), QRegion(90, 90, 10, 10));
    memory.bringUpToDate();
    memory.changeScreen(QRegion(200, 0, 10, 10), start);
    memory.changeGround(QRegion(100, 100, 10, 10), start);
    EXPECT_TRUE(memory.isCurrent());
}

TEST(LearnedWallpaper, knowsWhatItHasSeen) {
    LearnedWallpaper wallpaper;
    EXPECT_EQ(wallpaper.news(screen), screen);
    const std::array<std::uint32_t, 4> pixels{1, 2, 3, 0xff123456U};
    wallpaper.learn({0, 0, 2, 2}, reinterpret_cast<const std::byte*>(pixels.data()), 8);
    EXPECT_EQ(wallpaper.news(QRegion(0, 0, 3, 2)), QRegion(2, 0, 1, 2));
    EXPECT_EQ(wallpaper.likelyColour(), 0x123456U);
    wallpaper.forget();
    EXPECT_EQ(wallpaper.likelyColour(), 0x808080U);
}

TEST(CoarseRects, coverADiscWithOneRectangleAndAFrameWithItsSides) {
    const PixelRect area{0, 0, 1920, 1080};
    const QRegion disc(100, 100, 300, 300, QRegion::Ellipse);
    ASSERT_GT(disc.rectCount(), 50);
    EXPECT_EQ(coarseRects(disc, area), (std::vector<PixelRect>{toPixelRect(disc.boundingRect())}));

    const QRegion frame = QRegion(50, 50, 1800, 900) - QRegion(56, 56, 1788, 888);
    const std::vector<PixelRect> sides = coarseRects(frame, area);
    QRegion covered;
    std::int64_t pixels = 0;
    for (const PixelRect& side : sides) {
        covered += toQRect(side);
        pixels += side.area();
    }
    EXPECT_TRUE((frame - covered).isEmpty());
    EXPECT_LE(sides.size(), 4U);
    EXPECT_LT(pixels, 2 * (1800 + 900) * 6 * 2);
}

TEST(CoarseRects, askForEverythingAtOnceWhenMostIsWanted) {
    const PixelRect area{0, 0, 1000, 1000};
    QRegion most(0, 0, 1000, 1000);
    most -= QRegion(0, 400, 1000, 100);
    EXPECT_EQ(coarseRects(most, area), (std::vector<PixelRect>{area}));
    EXPECT_TRUE(coarseRects({}, area).empty());
}

TEST(Regions, growEveryRectangleOfAFewAndTheBoundsOfMany) {
    EXPECT_EQ(grown(QRegion(10, 10, 5, 5), 2), QRegion(8, 8, 9, 9));
    const QRegion disc(100, 100, 300, 300, QRegion::Ellipse);
    EXPECT_EQ(grown(disc, 3), QRegion(disc.boundingRect().adjusted(-3, -3, 3, 3)));
    EXPECT_TRUE(grown({}, 5).isEmpty());
}

} // namespace
} // namespace quillet
