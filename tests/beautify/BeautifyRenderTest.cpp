#include "beautify/BeautifyRender.h"

#include "beautify/BackgroundLibrary.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <string>

namespace quillet {
namespace {

using BeautifyRender::previewImage;
using BeautifyRender::PreviewOptions;

constexpr int screenGrey = 237;   // 0.93 of 255
constexpr int titleBarGrey = 209; // 0.82 of 255

/// What the panel asks for, at its defaults.
PreviewOptions panelOptions() {
    return {.bgIndex = 2, .cornerFraction = 0.045, .paddingFraction = 0.06, .shadow = false, .size = {320, 180}};
}

QRgb grey(int level) { return qRgb(level, level, level); }

int largestDifference(QRgb a, QRgb b) {
    return std::max({std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)), std::abs(qBlue(a) - qBlue(b))});
}

testing::AssertionResult isBackdrop(const QImage& image, int index, int x, int y) {
    const QImage backdrop =
        BackgroundLibrary::image(index, {static_cast<double>(image.width()), static_cast<double>(image.height())});
    if (image.pixel(x, y) == backdrop.pixel(x, y)) return testing::AssertionSuccess();
    return testing::AssertionFailure() << std::hex << image.pixel(x, y) << " at " << std::dec << x << ", " << y;
}

TEST(BeautifyRender, setsTheCardIntoThePanelsPreview) {
    // 281.6 by 158.4 at 19.2, 10.8: the pixels wholly inside and wholly outside on all four sides.
    const QImage image = previewImage(panelOptions());
    ASSERT_EQ(image.size(), QSize(320, 180));
    ASSERT_EQ(image.format(), QImage::Format_ARGB32_Premultiplied);
    EXPECT_TRUE(isBackdrop(image, 2, 18, 90));
    EXPECT_EQ(image.pixel(20, 90), grey(screenGrey));
    EXPECT_EQ(image.pixel(299, 90), grey(screenGrey));
    EXPECT_TRUE(isBackdrop(image, 2, 301, 90));
    EXPECT_TRUE(isBackdrop(image, 2, 160, 9));
    EXPECT_EQ(image.pixel(160, 11), grey(titleBarGrey));
    EXPECT_EQ(image.pixel(160, 168), grey(screenGrey));
    EXPECT_TRUE(isBackdrop(image, 2, 160, 170));
}

TEST(BeautifyRender, smoothsAnEdgeBetweenTwoPixelsByItsShare) {
    // The left edge at 19.2 covers 0.8 of pixel 19, the upper one at 10.8 covers 0.2 of row 10.
    const QImage image = previewImage(panelOptions());
    const QImage backdrop = BackgroundLibrary::image(2, {320, 180});
    const auto mixed = [&](int x, int y, double share, int level) {
        const QRgb behind = backdrop.pixel(x, y);
        const auto channel = [&](int value) { return static_cast<int>(std::lround(value + (level - value) * share)); };
        return qRgb(channel(qRed(behind)), channel(qGreen(behind)), channel(qBlue(behind)));
    };
    EXPECT_LE(largestDifference(image.pixel(19, 90), mixed(19, 90, 0.8, screenGrey)), 4);
    EXPECT_LE(largestDifference(image.pixel(160, 10), mixed(160, 10, 0.2, titleBarGrey)), 4);
}

TEST(BeautifyRender, roundsTheCornersByTheirFraction) {
    PreviewOptions options = panelOptions();
    options.cornerFraction = 0.2; // 31.68 on a card of 281.6 by 158.4
    const QImage image = previewImage(options);
    const double radius = 0.2 * 158.4;
    int outside = 0;
    int inside = 0;
    for (int y = 0; y < 180; ++y)
        for (int x = 0; x < 320; ++x) {
            // Distance from the round rectangle's edge, positive outside.
            const double dx = std::abs(x + 0.5 - 160) - (140.8 - radius);
            const double dy = std::abs(y + 0.5 - 90) - (79.2 - radius);
            const double distance =
                std::hypot(std::max(dx, 0.0), std::max(dy, 0.0)) + std::min(std::max(dx, dy), 0.0) - radius;
            if (distance > 1) {
                ++outside;
                ASSERT_TRUE(isBackdrop(image, 2, x, y));
            } else if (distance < -1 && y > 90) {
                ++inside;
                ASSERT_EQ(image.pixel(x, y), grey(screenGrey)) << x << ", " << y;
            }
        }
    EXPECT_GT(outside, 10000);
    EXPECT_GT(inside, 20000);
}

TEST(BeautifyRender, fillsTheCanvasWithoutPaddingAndCorners) {
    for (const bool shadow : {false, true}) {
        const QImage image = previewImage(
            {.bgIndex = 1, .cornerFraction = 0, .paddingFraction = 0, .shadow = shadow, .size = {320, 180}});
        for (int x = 60; x < 320; ++x) {
            ASSERT_EQ(image.pixel(x, 0), grey(titleBarGrey));
            ASSERT_EQ(image.pixel(x, 179), grey(screenGrey));
        }
        EXPECT_EQ(image.pixel(0, 0), grey(titleBarGrey));
        EXPECT_EQ(image.pixel(0, 179), grey(screenGrey));
    }
}

struct BarCase {
    const char* name;
    Size size;
    double padding;
    int barRows; ///< whole rows of the bar, from the card's top
};

class TitleBar : public testing::TestWithParam<BarCase> {};

TEST_P(TitleBar, isFourteenPercentOfTheCardAndNeverMoreThan26) {
    const BarCase& row = GetParam();
    const QImage image = previewImage({.bgIndex = 0, .paddingFraction = row.padding, .size = row.size});
    const double shorter = std::min(row.size.width, row.size.height);
    const double scale = 1 - 2 * row.padding * shorter / shorter;
    const int top = static_cast<int>(std::lround((row.size.height - row.size.height * scale) / 2));
    const int x = image.width() / 2 + 40;
    EXPECT_EQ(image.pixel(x, top), grey(titleBarGrey));
    EXPECT_EQ(image.pixel(x, top + row.barRows - 1), grey(titleBarGrey));
    EXPECT_EQ(image.pixel(x, top + row.barRows + 1), grey(screenGrey));
}

INSTANTIATE_TEST_SUITE_P(
    Table, TitleBar,
    testing::Values(BarCase{"cardOf100", {300, 100}, 0, 14}, BarCase{"cardOf150", {400, 150}, 0, 21},
                    BarCase{"cardOf185", {400, 185}, 0, 25}, BarCase{"cardOf186", {400, 186}, 0, 26},
                    BarCase{"cardOf400", {400, 400}, 0, 26}, BarCase{"cardOf200On250", {250, 250}, 0.1, 26}),
    [](const auto& parameter) { return parameter.param.name; });

TEST(BeautifyRender, drawsThreeDotsOfOneSizeOnCardsOfAnySize) {
    const std::array<QRgb, 3> colours{qRgb(255, 95, 86), qRgb(255, 189, 46), qRgb(39, 201, 63)};
    for (const Size size : {Size{320, 180}, Size{1280, 720}}) {
        const QImage image = previewImage({.bgIndex = 0, .paddingFraction = 0.05, .size = size});
        const double left = (size.width - size.width * 0.9) / 2;
        const double top = size.height * 0.05;
        const double middle = top + std::min(size.height * 0.9 * 0.14, 26.0) / 2;
        const int y = static_cast<int>(middle);
        for (std::size_t i = 0; i < colours.size(); ++i) {
            const double centre = left + 12 + 16 * static_cast<double>(i);
            EXPECT_EQ(image.pixel(static_cast<int>(centre), y), colours[i]);
            EXPECT_EQ(image.pixel(static_cast<int>(centre - 3.5), y), colours[i]);
            EXPECT_EQ(image.pixel(static_cast<int>(centre + 3.5), y), colours[i]);
            EXPECT_EQ(image.pixel(static_cast<int>(centre), static_cast<int>(middle + 3.5)), colours[i]);
            EXPECT_EQ(image.pixel(static_cast<int>(centre + 6.5), y), grey(titleBarGrey));
        }
    }
}

TEST(BeautifyRender, leavesTheSameMarginOnAllSidesOfASquare) {
    const QImage image = previewImage({.bgIndex = 3, .paddingFraction = 0.1, .size = {200, 200}});
    EXPECT_TRUE(isBackdrop(image, 3, 19, 100));
    EXPECT_EQ(image.pixel(20, 100), grey(screenGrey));
    EXPECT_EQ(image.pixel(179, 100), grey(screenGrey));
    EXPECT_TRUE(isBackdrop(image, 3, 180, 100));
    EXPECT_TRUE(isBackdrop(image, 3, 100, 19));
    EXPECT_EQ(image.pixel(100, 20), grey(titleBarGrey));
    EXPECT_EQ(image.pixel(100, 179), grey(screenGrey));
    EXPECT_TRUE(isBackdrop(image, 3, 100, 180));
}

/// How much of its light the shadow takes from a pixel below the middle of a wide card.
double shadowBelow(double rowCentre, double cardBottom, double shorterSide) {
    const double deviation = 0.015 * shorterSide;
    const double beyond = rowCentre - (cardBottom + 0.012 * shorterSide);
    return 0.45 * 0.5 * std::erfc(beyond / (deviation * std::numbers::sqrt2));
}

TEST(BeautifyRender, castsItsShadowDownwards) {
    PreviewOptions options = panelOptions();
    options.shadow = true;
    const QImage image = previewImage(options);
    const QImage backdrop = BackgroundLibrary::image(2, {320, 180});
    for (int y = 170; y < 180; ++y) {
        const double kept = 1 - shadowBelow(y + 0.5, 169.2, 180);
        EXPECT_NEAR(qGreen(image.pixel(160, y)), qGreen(backdrop.pixel(160, y)) * kept, 1.5) << y;
    }
    // Above the card the shadow is the weaker by twice the drop.
    EXPECT_LT(qGreen(image.pixel(160, 170)) + 20, qGreen(image.pixel(160, 9)));
    EXPECT_LT(qGreen(image.pixel(160, 9)), qGreen(backdrop.pixel(160, 9)));
    EXPECT_TRUE(isBackdrop(image, 2, 0, 0));
}

TEST(BeautifyRender, leavesTheBackdropAloneWithoutShadow) {
    const QImage image = previewImage(panelOptions());
    for (int y = 170; y < 180; ++y)
        for (int x = 0; x < 320; ++x)
            ASSERT_TRUE(isBackdrop(image, 2, x, y));
}

TEST(BeautifyRender, drawsTheSamePictureWithMorePixels) {
    PreviewOptions options = panelOptions();
    options.shadow = true;
    const QImage once = previewImage(options);
    options.pixelRatio = 2;
    const QImage twice = previewImage(options);
    ASSERT_EQ(twice.size(), QSize(640, 360));
    EXPECT_EQ(twice.devicePixelRatio(), 2);
    const QImage reduced = twice.scaled(320, 180, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    double sum = 0;
    for (int y = 0; y < 180; ++y)
        for (int x = 0; x < 320; ++x)
            sum += largestDifference(once.pixel(x, y), reduced.pixel(x, y));
    EXPECT_LT(sum / (320 * 180), 0.5);
}

TEST(BeautifyRender, dropsFractionsAndKeepsOnePixel) {
    EXPECT_EQ(previewImage({.size = {320.9, 180.2}}).size(), QSize(320, 180));
    EXPECT_EQ(previewImage({.shadow = true, .size = {0.4, -3}}).size(), QSize(1, 1));
}

TEST(BeautifyRender, showsOnlyTheBackdropWhereNoCardIsLeft) {
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    const QImage backdrop = BackgroundLibrary::image(4, {320, 180});
    for (const double padding : {0.5, 0.51, 7.0, 1e300, infinity, notANumber}) {
        PreviewOptions options = panelOptions();
        options.bgIndex = 4;
        options.shadow = true;
        options.paddingFraction = padding;
        EXPECT_EQ(previewImage(options), backdrop) << padding;
    }
}

TEST(BeautifyRender, fillsTheCanvasForAnyNegativePadding) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double padding : {-1.0, -100.0, -1e300, -infinity}) {
        PreviewOptions options = panelOptions();
        options.paddingFraction = padding;
        options.shadow = true;
        EXPECT_EQ(previewImage(options).pixel(160, 90), grey(screenGrey)) << padding;
        EXPECT_EQ(previewImage(options).pixel(0, 179), grey(screenGrey)) << padding;
    }
}

TEST(BeautifyRender, takesCornersOfAnyNumber) {
    const double infinity = std::numeric_limits<double>::infinity();
    PreviewOptions options = panelOptions();
    options.cornerFraction = 0;
    const QImage square = previewImage(options);
    for (const double corner : {-1.0, -infinity, std::numeric_limits<double>::quiet_NaN()}) {
        options.cornerFraction = corner;
        EXPECT_EQ(previewImage(options), square) << corner;
    }
    options.cornerFraction = 0.5;
    const QImage roundest = previewImage(options);
    EXPECT_NE(roundest, square);
    for (const double corner : {0.6, 1e300, infinity}) {
        options.cornerFraction = corner;
        EXPECT_EQ(previewImage(options), roundest) << corner;
    }
}

TEST(BeautifyRenderDeathTest, stopsForWhatOnlyABugAsksFor) {
    EXPECT_DEATH(static_cast<void>(previewImage({.bgIndex = -1, .size = {4, 4}})), "negative index");
    EXPECT_DEATH(static_cast<void>(previewImage({.size = {std::nan(""), 4}})), "preview");
    EXPECT_DEATH(static_cast<void>(previewImage({.size = {4, 1e19}})), "preview");
}

} // namespace
} // namespace quillet
