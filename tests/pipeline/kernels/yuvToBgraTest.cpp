#include "pipeline/kernels/yuvToBgra.h"

#include "tests/pipeline/kernels/everyTarget.h"
#include "tests/pipeline/kernels/guardedRows.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

namespace quillet {
namespace {

// Past two of the longest vectors, in pixels.
constexpr std::size_t widest = 2 * 64 + 5;

constexpr YuvLayout everyLayout[] = {YuvLayout::planar, YuvLayout::semiPlanar, YuvLayout::yuyv, YuvLayout::uyvy,
                                     YuvLayout::planarAllPixels};

class YuvToBgra : public EveryTarget {};

TEST_P(YuvToBgra, convertsLikeItsTwin) {
    const YuvFactors factors = YuvFactors::make(YuvStandard::bt709, YuvRange::limited);
    for (const YuvLayout layout : everyLayout)
        for (std::size_t width = 0; width <= widest; ++width) {
            GuardedRows luma(2 * (width + 1), 1);
            GuardedRows cb(width + 1, 2);
            GuardedRows cr(width + 1, 3);
            GuardedRows into(width * 4, 4);
            GuardedRows expected(width * 4, 4);
            for (std::size_t y = 0; y < GuardedRows::count; ++y) {
                const auto samples = [y](GuardedRows& rows) {
                    return reinterpret_cast<const std::uint8_t*>(rows.row(y));
                };
                const YuvRow row{.layout = layout, .luma = samples(luma), .cb = samples(cb), .cr = samples(cr)};
                kernels::yuvToBgra(into.row(y), row, width, factors);
                kernels::scalar::yuvToBgra(expected.row(y), row, width, factors);
            }
            ASSERT_TRUE(into.sameAs(expected)) << "layout " << static_cast<int>(layout) << ", width " << width;
        }
}

TEST_P(YuvToBgra, convertsEveryExtremeLikeItsTwin) {
    constexpr std::size_t width = 256;
    std::array<std::uint8_t, width> luma, cb, cr;
    constexpr std::uint8_t extremes[] = {0, 16, 127, 128, 235, 255};
    for (const YuvRange range : {YuvRange::limited, YuvRange::full})
        for (const std::uint8_t blue : extremes)
            for (const std::uint8_t red : extremes) {
                for (std::size_t x = 0; x < width; ++x)
                    luma[x] = static_cast<std::uint8_t>(x);
                cb.fill(blue);
                cr.fill(red);
                const YuvFactors factors = YuvFactors::make(YuvStandard::bt709, range);
                const YuvRow row{.layout = YuvLayout::planar, .luma = luma.data(), .cb = cb.data(), .cr = cr.data()};
                std::array<std::byte, 4 * width> into{}, expected{};
                kernels::yuvToBgra(into.data(), row, width, factors);
                kernels::scalar::yuvToBgra(expected.data(), row, width, factors);
                ASSERT_EQ(into, expected) << int{blue} << ", " << int{red};
            }
}

INSTANTIATE_TEST_SUITE_P(Levels, YuvToBgra, testing::ValuesIn(hwy::SupportedAndGeneratedTargets()), targetName);

struct StandardCase {
    const char* name;
    YuvStandard standard;
    YuvRange range;
    double red, blue; // the standards' luma weights
};

class YuvToBgraTwin : public testing::TestWithParam<StandardCase> {};

TEST_P(YuvToBgraTwin, staysWithinOneLevelOfTheStandardsFormula) {
    const StandardCase& standard = GetParam();
    const bool isLimited = standard.range == YuvRange::limited;
    const YuvFactors factors = YuvFactors::make(standard.standard, standard.range);
    const double green = 1 - standard.red - standard.blue;
    double worst = 0;
    for (int y = 0; y < 256; ++y)
        for (int cb = 0; cb < 256; cb += 3)
            for (int cr = 0; cr < 256; cr += 3) {
                const std::array samples{static_cast<std::uint8_t>(y), static_cast<std::uint8_t>(cb),
                                         static_cast<std::uint8_t>(cr)};
                const YuvRow row{.layout = YuvLayout::planar,
                                 .luma = samples.data(),
                                 .cb = samples.data() + 1,
                                 .cr = samples.data() + 2};
                std::byte pixel[4];
                kernels::scalar::yuvToBgra(pixel, row, 1, factors);
                const double luma = isLimited ? (y - 16) / 219.0 : y / 255.0;
                const double blueness = (cb - 128) / (isLimited ? 224.0 : 255.0);
                const double redness = (cr - 128) / (isLimited ? 224.0 : 255.0);
                const double b = luma + 2 * (1 - standard.blue) * blueness;
                const double r = luma + 2 * (1 - standard.red) * redness;
                const double g = (luma - standard.red * r - standard.blue * b) / green;
                const double exact[] = {b, g, r};
                for (std::size_t channel = 0; channel < 3; ++channel) {
                    const double expected = std::clamp(exact[channel] * 255, 0.0, 255.0);
                    worst = std::max(worst, std::abs(std::to_integer<int>(pixel[channel]) - expected));
                }
                ASSERT_EQ(pixel[3], std::byte{255});
            }
    EXPECT_LE(worst, 1.0);
}

INSTANTIATE_TEST_SUITE_P(
    Table, YuvToBgraTwin,
    testing::Values(StandardCase{"bt601Limited", YuvStandard::bt601, YuvRange::limited, 0.299, 0.114},
                    StandardCase{"bt601Full", YuvStandard::bt601, YuvRange::full, 0.299, 0.114},
                    StandardCase{"bt709Limited", YuvStandard::bt709, YuvRange::limited, 0.2126, 0.0722},
                    StandardCase{"bt709Full", YuvStandard::bt709, YuvRange::full, 0.2126, 0.0722}),
    [](const auto& each) { return each.param.name; });

} // namespace
} // namespace quillet
