#include "geometry/RangeMode.h"

#include <gtest/gtest.h>

#include <string>

namespace quillet {
namespace {

struct ModeRow {
    const char* name;
    RangeMode mode;
    const char* label;
    std::size_t bytes;
    std::optional<double> aspect;
};

class RangeModes : public testing::TestWithParam<ModeRow> {};

TEST_P(RangeModes, haveALabelThatLeadsBackToThem) {
    const ModeRow& row = GetParam();
    EXPECT_EQ(rawValue(row.mode), row.label);
    EXPECT_EQ(rawValue(row.mode).size(), row.bytes);
    EXPECT_EQ(id(row.mode), row.label);
    EXPECT_EQ(rangeModeFromRawValue(row.label), row.mode);
    EXPECT_EQ(aspectRatio(row.mode), row.aspect);
    EXPECT_EQ(std::hash<RangeMode>{}(row.mode), std::hash<std::string_view>{}(row.label));
    // The name of the case is never what is stored.
    EXPECT_EQ(rangeModeFromRawValue(row.name), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Table, RangeModes,
                         testing::Values(ModeRow{"ratio16x9", RangeMode::ratio16x9, "16:9 横", 8, 16.0 / 9},
                                         ModeRow{"ratio9x16", RangeMode::ratio9x16, "9:16 竖", 8, 0.5625},
                                         ModeRow{"ratio4x3", RangeMode::ratio4x3, "4:3 横", 7, 4.0 / 3},
                                         ModeRow{"ratio3x4", RangeMode::ratio3x4, "3:4 竖", 7, 0.75},
                                         ModeRow{"free", RangeMode::free, "自由框选", 12, std::nullopt},
                                         ModeRow{"fullscreen", RangeMode::fullscreen, "全屏", 6, std::nullopt}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(RangeMode, isFoundByItsWholeLabelOnly) {
    for (const char* text : {"", "16:9横", "16:9 ", "16:9", " 16:9 横", "16:9 横 ", "全", "FREE"})
        EXPECT_EQ(rangeModeFromRawValue(text), std::nullopt) << text;
}

TEST(RangeMode, listsItsCasesInTheOrderOfTheButtons) {
    std::string labels;
    for (const RangeMode mode : allRangeModes)
        labels += std::string(rawValue(mode)) + "|";
    EXPECT_EQ(labels, "16:9 横|9:16 竖|4:3 横|3:4 竖|自由框选|全屏|");
}

} // namespace
} // namespace quillet
