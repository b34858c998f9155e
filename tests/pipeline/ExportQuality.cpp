#include "pipeline/ExportQuality.h"

#include <gtest/gtest.h>

#include <limits>

namespace quillet {
namespace {

struct RateCase {
    const char* name;
    ExportQuality quality;
    std::int64_t width, height, fps, expected;
};

class Bitrate : public testing::TestWithParam<RateCase> {};

TEST_P(Bitrate, followsPixelsFramesAndQualityWithinItsBounds) {
    const RateCase& rate = GetParam();
    EXPECT_EQ(bitrate(rate.quality, rate.width, rate.height, rate.fps), rate.expected);
}

INSTANTIATE_TEST_SUITE_P(Table, Bitrate,
                         testing::Values(RateCase{"low", ExportQuality::low, 1920, 1080, 30, 3'110'400},
                                         RateCase{"medium", ExportQuality::medium, 1920, 1080, 30, 6'220'800},
                                         RateCase{"high", ExportQuality::high, 1920, 1080, 30, 12'441'600},
                                         RateCase{"ultra", ExportQuality::ultra, 1920, 1080, 30, 24'883'200},
                                         RateCase{"neverBelowTwoMillion", ExportQuality::low, 640, 360, 30, 2'000'000},
                                         RateCase{"neverAbove120Million", ExportQuality::ultra, 3840, 2160, 60,
                                                  120'000'000},
                                         RateCase{"fractionsAreDropped", ExportQuality::low, 1001, 1001, 41, 2'054'102},
                                         RateCase{"nothingIsStillTheFloor", ExportQuality::high, 0, 0, 0, 2'000'000}),
                         [](const auto& tested) { return tested.param.name; });

TEST(ExportQuality, beyond64BitsStopsTheProgram) {
    constexpr std::int64_t huge = std::numeric_limits<std::int64_t>::max() / 2;
    EXPECT_DEATH(static_cast<void>(bitrate(ExportQuality::low, huge, 3, 1)), "64 bits");
    EXPECT_DEATH(static_cast<void>(bitrate(ExportQuality::low, huge, 1, 3)), "64 bits");
}

TEST(ExportQuality, labelsAreTheStoredValuesInThePickersOrder) {
    const std::array<std::string_view, 4> labels{"低", "中", "高", "最高"};
    for (std::size_t i = 0; i < labels.size(); ++i) {
        EXPECT_EQ(rawValue(allExportQualities[i]), labels[i]);
        EXPECT_EQ(id(allExportQualities[i]), labels[i]);
        EXPECT_EQ(exportQualityFromRawValue(labels[i]), allExportQualities[i]);
    }
}

TEST(ExportQuality, onlyTheFourLabelsAreKnown) {
    for (const char* other : {"ultra", "", "最", "高 ", "low", "最高\n"})
        EXPECT_EQ(exportQualityFromRawValue(other), std::nullopt) << other;
}

} // namespace
} // namespace quillet
