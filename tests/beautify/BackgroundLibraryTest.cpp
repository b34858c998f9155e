#include "beautify/BackgroundLibrary.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

namespace quillet {
namespace {

using Channels = std::array<int, 3>;

struct Preset {
    const char* name;
    bool radial;
    Channels first;
    Channels second;
    Channels base;
};

const std::array<Preset, 9> presets{{
    {"indigoToViolet", false, {99, 102, 241}, {168, 85, 247}, {}},
    {"orangeToPink", false, {251, 146, 60}, {236, 72, 153}, {}},
    {"tealToGreen", false, {20, 184, 166}, {16, 185, 129}, {}},
    {"blueToCyan", false, {59, 130, 246}, {6, 182, 212}, {}},
    {"purpleToDeepPink", false, {147, 51, 234}, {219, 39, 119}, {}},
    {"pinkToAmber", false, {244, 114, 182}, {251, 191, 36}, {}},
    {"slateToNavy", false, {51, 65, 85}, {15, 23, 42}, {}},
    {"blueGlow", true, {37, 99, 235}, {9, 12, 30}, {9, 12, 30}},
    {"greenGlow", true, {16, 185, 129}, {88, 28, 135}, {10, 20, 25}},
}};

/// The colour at a pixel's centre, from the definition with y up.
Channels expected(const Preset& preset, int width, int height, int column, int rowFromTop) {
    const double x = column + 0.5;
    const double y = height - (rowFromTop + 0.5);
    double place = 0;
    if (preset.radial) {
        place = std::hypot(x - 0.32 * width, y - 0.72 * height) / (0.9 * std::max(width, height));
        if (place > 1) return preset.base;
    } else {
        // From (0, height) to (width, 0).
        const double w = width;
        const double h = height;
        place = (x * w + (y - h) * -h) / (w * w + h * h);
    }
    Channels colour{};
    for (std::size_t i = 0; i < 3; ++i)
        colour[i] = static_cast<int>(std::lround(preset.first[i] + (preset.second[i] - preset.first[i]) * place));
    return colour;
}

Channels channels(QRgb pixel) { return {qRed(pixel), qGreen(pixel), qBlue(pixel)}; }

class Backdrop : public testing::TestWithParam<std::size_t> {};

TEST_P(Backdrop, hasItsColourAtEveryPixel) {
    const Preset& preset = presets[GetParam()];
    for (const auto& [width, height] : {std::pair{64, 36}, {37, 61}, {40, 40}, {1, 1}, {1, 9}}) {
        const QImage image =
            BackgroundLibrary::image(static_cast<std::int64_t>(GetParam()), Size{width + 0.9, height + 0.2});
        ASSERT_EQ(image.size(), QSize(width, height));
        ASSERT_EQ(image.format(), QImage::Format_ARGB32_Premultiplied);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                const QRgb pixel = reinterpret_cast<const QRgb*>(image.constScanLine(y))[x];
                ASSERT_EQ(qAlpha(pixel), 255);
                const Channels wanted = expected(preset, width, height, x, y);
                const Channels found = channels(pixel);
                for (std::size_t i = 0; i < 3; ++i)
                    ASSERT_EQ(found[i], wanted[i]) << width << " by " << height << " at " << x << ", " << y;
            }
    }
}

INSTANTIATE_TEST_SUITE_P(Presets, Backdrop, testing::Range(std::size_t{0}, presets.size()),
                         [](const auto& parameter) { return presets[parameter.param].name; });

TEST(BackgroundLibrary, startsAndEndsInTheCornersOfTheDiagonal) {
    const QImage image = BackgroundLibrary::image(0, {320, 180});
    EXPECT_EQ(channels(image.pixel(0, 0)), (Channels{99, 102, 241}));
    EXPECT_EQ(channels(image.pixel(319, 179)), (Channels{168, 85, 247}));
}

TEST(BackgroundLibrary, drawsLinesOfEqualColourPerpendicularToTheDiagonal) {
    // On a picture of 2 to 1, one column right and two rows up is a way perpendicular to the diagonal.
    const QImage image = BackgroundLibrary::image(6, {400, 200});
    for (int step = 0; step < 80; ++step)
        EXPECT_EQ(image.pixel(150 + step, 180 - 2 * step), image.pixel(150, 180));
}

TEST(BackgroundLibrary, dropsFractionsAndKeepsOnePixel) {
    EXPECT_EQ(BackgroundLibrary::image(0, {0.4, 0.4}).size(), QSize(1, 1));
    EXPECT_EQ(BackgroundLibrary::image(0, {320.9, 180.2}).size(), QSize(320, 180));
    EXPECT_EQ(BackgroundLibrary::image(0, {-7, 3}).size(), QSize(1, 3));
}

TEST(BackgroundLibrary, beginsAnewAfterTheNinthPreset) {
    EXPECT_EQ(BackgroundLibrary::image(9, {32, 18}), BackgroundLibrary::image(0, {32, 18}));
    EXPECT_EQ(BackgroundLibrary::image(17, {32, 18}), BackgroundLibrary::image(8, {32, 18}));
    EXPECT_EQ(BackgroundLibrary::image(std::numeric_limits<std::int64_t>::max(), {32, 18}),
              BackgroundLibrary::image(std::numeric_limits<std::int64_t>::max() % 9, {32, 18}));
}

TEST(BackgroundLibrary, drawsTheSamePixelsEachTime) {
    EXPECT_EQ(BackgroundLibrary::image(7, {64, 36}), BackgroundLibrary::image(7, {64, 36}));
}

TEST(BackgroundLibrary, showsTheBaseOutsideTheGreenGlowOfASquare) {
    const QImage square = BackgroundLibrary::image(8, {1000, 1000});
    EXPECT_EQ(channels(square.pixel(999, 999)), (Channels{10, 20, 25}));
    const QImage wide = BackgroundLibrary::image(8, {1600, 900});
    EXPECT_NE(channels(wide.pixel(1599, 899)), (Channels{10, 20, 25}));
}

TEST(BackgroundLibraryDeathTest, stopsForWhatOnlyABugAsksFor) {
    EXPECT_DEATH(static_cast<void>(BackgroundLibrary::image(-1, {4, 4})), "negative index");
    EXPECT_DEATH(static_cast<void>(BackgroundLibrary::image(0, {std::nan(""), 4})), "width");
    EXPECT_DEATH(static_cast<void>(BackgroundLibrary::image(0, {4, std::numeric_limits<double>::infinity()})),
                 "height");
    EXPECT_DEATH(static_cast<void>(BackgroundLibrary::image(0, {4, 1e19})), "height");
    EXPECT_DEATH(static_cast<void>(BackgroundLibrary::image(0, {1e12, 4})), "too large");
}

} // namespace
} // namespace quillet
