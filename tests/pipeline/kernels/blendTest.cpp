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
