#include "pipeline/kernels/blend.h"

#include "tests/pipeline/kernels/everyTarget.h"
#include "tests/pipeline/kernels/guardedRows.h"

#include <cmath>

namespace quillet {
namespace {

// Past two of the longest vectors.
constexpr std::size_t widest = 2 * 16 + 5;

class Blend : public EveryTarget {};

TEST_P(Blend, copiesOpaquelyLikeItsTwin) {
    for (std::size_t width = 0; width <= widest; ++width) {
        GuardedRows from(width * 4, 1);
        GuardedRows into(width * 4, 2);
        GuardedRows expected(width * 4, 2);
        for (std::size_t y = 0; y < GuardedRows::count; ++y) {
            kernels::copyOpaque(into.row(y), from.row(y), width);
            kernels::scalar::copyOpaque(expected.row(y), from.row(y), width);
        }
        ASSERT_TRUE(into.sameAs(expected)) << "width " << width;
    }
}

TEST_P(Blend, turnsRoundLikeItsTwin) {
    for (std::size_t width = 0; width <= widest; ++width) {
        GuardedRows from(width * 4, 1);
        GuardedRows into(width * 4, 2);
        GuardedRows expected(width * 4, 2);
        for (std::size_t y = 0; y < GuardedRows::count; ++y) {
            kernels::copyReversed(into.row(y), from.row(y), width);
            kernels::scalar::copyReversed(expected.row(y), from.row(y), width);
        }
        ASSERT_TRUE(into.sameAs(expected)) << "width " << width;
    }
}

TEST_P(Blend, halvesLikeItsTwinAlsoInPlace) {
    for (std::size_t width = 0; width <= widest; ++width) {
        GuardedRows upper(width * 8, 1);
        GuardedRows lower(width * 8, 2);
        GuardedRows into(width * 4, 3);
        GuardedRows expected(width * 4, 3);
        for (std::size_t y = 0; y < GuardedRows::count; ++y) {
            kernels::halve(into.row(y), upper.row(y), lower.row(y), width);
            kernels::scalar::halve(expected.row(y), upper.row(y), lower.row(y), width);
        }
        ASSERT_TRUE(into.sameAs(expected)) << "width " << width;
        for (std::size_t y = 0; y < GuardedRows::count; ++y) {
            kernels::halve(upper.row(y), upper.row(y), lower.row(y), width);
            EXPECT_TRUE(std::equal(upper.row(y), upper.row(y) + width * 4, into.row(y))) << "in place";
        }
    }
}

TEST_P(Blend, masksLikeItsTwin) {
    for (std::size_t width = 0; width <= widest; ++width) {
        GuardedRows mask(width, 1);
        GuardedRows pixels(width * 4, 2);
        GuardedRows expected(width * 4, 2);
        for (std::size_t y = 0; y < GuardedRows::count; ++y) {
            const auto* row = reinterpret_cast<const std::uint8_t*>(mask.row(y));
            kernels::multiplyByMask(pixels.row(y), row, width);
            kernels::scalar::multiplyByMask(expected.row(y), row, width);
        }
        ASSERT_TRUE(pixels.sameAs(expected)) << "width " << width;
    }
}

TEST_P(Blend, laysOverLikeItsTwin) {
    for (std::size_t width = 0; width <= widest; ++width) {
        GuardedRows top(width * 4, 1);
        GuardedRows bottom(width * 4, 2);
        GuardedRows into(width * 4, 3);
        GuardedRows expected(width * 4, 3);
        for (std::size_t y = 0; y < GuardedRows::count; ++y) {
            kernels::composite(into.row(y), top.row(y), bottom.row(y), width);
            kernels::scalar::composite(expected.row(y), top.row(y), bottom.row(y), width);
        }
        ASSERT_TRUE(into.sameAs(expected)) << "width " << width;
        for (std::size_t y = 0; y < GuardedRows::count; ++y) {
            kernels::composite(bottom.row(y), top.row(y), bottom.row(y), width);
            kernels::composite(top.row(y), top.row(y), GuardedRows(width * 4, 2).row(y), width);
            EXPECT_TRUE(std::equal(bottom.row(y), bottom.row(y) + width * 4, into.row(y))) << "in place, below";
            EXPECT_TRUE(std::equal(top.row(y), top.row(y) + width * 4, into.row(y))) << "in place, above";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Levels, Blend, testing::ValuesIn(hwy::SupportedAndGeneratedTargets()), targetName);

TEST(BlendTwin, dividesEveryProductBy255AndRounds) {
    for (unsigned value = 0; value < 256; ++value)
        for (unsigned factor = 0; factor < 256; ++factor) {
            std::byte pixel[4] = {static_cast<std::byte>(value)};
            const auto mask = static_cast<std::uint8_t>(factor);
            kernels::scalar::multiplyByMask(pixel, &mask, 1);
            ASSERT_EQ(std::to_integer<long>(pixel[0]), std::lround(value * factor / 255.0)) << value << " * " << factor;
        }
}

TEST(BlendTwin, turnsWholePixelsRound) {
    std::byte pixels[12];
    for (std::size_t i = 0; i < 12; ++i)
        pixels[i] = static_cast<std::byte>(i);
    std::byte into[12] = {};
    kernels::scalar::copyReversed(into, pixels, 3);
    const int expected[12] = {8, 9, 10, 11, 4, 5, 6, 7, 0, 1, 2, 3};
    for (std::size_t i = 0; i < 12; ++i)
        EXPECT_EQ(std::to_integer<int>(into[i]), expected[i]);
}

TEST(BlendTwin, takesTheMeanOfEachByteOfFourPixels) {
    const std::byte upper[8] = {std::byte{0},   std::byte{255}, std::byte{1}, std::byte{10},
                                std::byte{255}, std::byte{255}, std::byte{1}, std::byte{11}};
    const std::byte lower[8] = {std::byte{0}, std::byte{255}, std::byte{0}, std::byte{12},
                                std::byte{0}, std::byte{255}, std::byte{0}, std::byte{14}};
    std::byte into[4] = {};
    kernels::scalar::halve(into, upper, lower, 1);
    const int expected[4] = {64, 255, 1, 12}; // 63.75, 255, 0.5, 11.75
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(std::to_integer<int>(into[i]), expected[i]);
}

TEST(BlendTwin, showsTheBottomAsFarAsTheTopIsTransparent) {
    const std::byte top[4] = {std::byte{10}, std::byte{20}, std::byte{30}, std::byte{51}};
    const std::byte bottom[4] = {std::byte{100}, std::byte{200}, std::byte{0}, std::byte{255}};
    std::byte into[4] = {};
    kernels::scalar::composite(into, top, bottom, 1);
    const int expected[4] = {10 + 80, 20 + 160, 30, 255};
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(std::to_integer<int>(into[i]), expected[i]);
}

} // namespace
} // namespace quillet
