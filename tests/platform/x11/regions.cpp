#include "platform/x11/regions.h"

#include <gtest/gtest.h>

namespace quillet {
namespace {

QRegion ring(const QRect& outside, int thickness) {
    return QRegion(outside) - QRegion(outside.adjusted(thickness, thickness, -thickness, -thickness));
}

std::int64_t pixelsOf(const std::vector<PixelRect>& rects) {
    std::int64_t pixels = 0;
    for (const PixelRect& rect : rects)
        pixels += rect.area();
    return pixels;
}

QRegion unionOf(const std::vector<PixelRect>& rects) {
    QRegion region;
    for (const PixelRect& rect : rects)
        region += toQRect(rect);
    return region;
}

constexpr PixelRect screen{0, 0, 1920, 1080};

TEST(coarseRects, doNotFillAnOutlineBecauseOfWhatStandsInIt) {
    const QRect disc(880, 250, 300, 300);
    const QRect panel(200, 70, 360, 640);
    const QRegion region = ring({160, 90, 1600, 900}, 4) + QRegion(disc, QRegion::Ellipse) + panel;
    const std::vector<PixelRect> rects = coarseRects(region, screen);
    EXPECT_TRUE((region - unionOf(rects)).isEmpty());
    EXPECT_LE(rects.size(), 16U);
    // A disc is asked for with its corners; everything else is about as large as it is.
    EXPECT_LE(pixelsOf(rects), 300 * 300 + 360 * 640 + 4 * 2 * (1600 + 900) + 20'000);
}

TEST(coarseRects, joinWhatStandsCloseTogether) {
    EXPECT_EQ(coarseRects(QRegion(10, 10, 50, 20) + QRegion(70, 12, 40, 30), screen).size(), 1U);
    EXPECT_EQ(coarseRects(QRegion(10, 10, 50, 20) + QRegion(1500, 900, 40, 30), screen).size(), 2U);
}

TEST(coarseRects, areFewAndCoverWhateverTheRegion) {
    QRegion region;
    for (int i = 0; i < 900; ++i)
        region += QRect(i * 331 % 1900, i * 197 % 1060, 1 + i % 19, 1 + i % 17);
    const std::vector<PixelRect> rects = coarseRects(region, screen);
    EXPECT_TRUE((region - unionOf(rects)).isEmpty());
    EXPECT_LE(rects.size(), 16U);
    EXPECT_LE(pixelsOf(rects), screen.area());
}

} // namespace
} // namespace quillet
