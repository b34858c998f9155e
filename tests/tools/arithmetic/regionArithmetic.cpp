#include "tools/regionArithmetic.h"

#include "tools/moveWithin.h"

#include <gtest/gtest.h>

#include <ostream>

namespace quillet {

void PrintTo(const Rect& rect, std::ostream* out) {
    *out << rect.x << ", " << rect.y << ", " << rect.width << " × " << rect.height;
}

namespace {

void expectNear(const Rect& got, const Rect& expected) {
    EXPECT_NEAR(got.x, expected.x, 1e-9);
    EXPECT_NEAR(got.y, expected.y, 1e-9);
    EXPECT_NEAR(got.width, expected.width, 1e-9);
    EXPECT_NEAR(got.height, expected.height, 1e-9);
}

Screen screenWith(Rect frame, Rect visible) {
    return {.name = "A", .frame = frame, .visibleFrame = visible, .displayID = 1, .pixelSize = frame.size()};
}

struct Placement {
    const char* name;
    RangeMode mode;
    Size current;
    Rect visible;
    Rect expected;
};

class PlacedRegion : public testing::TestWithParam<Placement> {};

TEST_P(PlacedRegion, takesItsSizeFromTheModeAndStandsInTheMiddleOfWhatIsVisible) {
    const Placement& row = GetParam();
    const Rect frame{row.visible.x - 60, row.visible.y - 40, row.visible.width + 60, row.visible.height + 65};
    expectNear(placedRegion(row.mode, row.current, screenWith(frame, row.visible)), row.expected);
}

constexpr Size first{960, 540};

INSTANTIATE_TEST_SUITE_P(
    Table, PlacedRegion,
    testing::Values(
        Placement{"landscapeTakes60PercentOfTheWidth",
                  RangeMode::ratio16x9,
                  first,
                  {0, 0, 1440, 875},
                  {288, 194.5, 864, 486}},
        Placement{"landscapeEndsAt1280", RangeMode::ratio16x9, first, {0, 0, 2560, 1400}, {640, 340, 1280, 720}},
        Placement{"fourToThreeIsLandscape", RangeMode::ratio4x3, first, {0, 0, 1000, 900}, {200, 225, 600, 450}},
        Placement{"portraitTakes70PercentOfTheHeight",
                  RangeMode::ratio9x16,
                  first,
                  {0, 0, 1600, 1000},
                  {603.125, 150, 393.75, 700}},
        Placement{"portraitEndsAt900",
                  RangeMode::ratio9x16,
                  first,
                  {0, 0, 2560, 1400},
                  {1280 - 506.25 / 2, 250, 506.25, 900}},
        Placement{"threeToFourIsPortrait", RangeMode::ratio3x4, first, {0, 0, 1600, 1000}, {537.5, 150, 525, 700}},
        Placement{"freeKeepsTheSize", RangeMode::free, {864, 486}, {0, 0, 1440, 875}, {288, 194.5, 864, 486}},
        Placement{
            "freeIsNeverLargerThan80Percent", RangeMode::free, {2000, 2000}, {0, 0, 1440, 875}, {144, 87.5, 1152, 700}},
        Placement{
            "freeIsNeverSmallerThan480By320", RangeMode::free, {130, 120}, {0, 0, 1440, 875}, {480, 277.5, 480, 320}},
        Placement{
            "freeOnATinyScreenObeysThe80PercentLast", RangeMode::free, first, {0, 0, 500, 300}, {50, 30, 400, 240}},
        Placement{"aScreenElsewhere", RangeMode::ratio16x9, first, {-1000, 300, 1000, 700}, {-800, 481.25, 600, 337.5}},
        Placement{"fullScreenTakesThePanelsToo", RangeMode::fullscreen, first, {60, 40, 1380, 835}, {0, 0, 1440, 900}}),
    [](const auto& row) { return row.param.name; });

struct Move {
    const char* name;
    Rect start;
    double dx;
    double dy;
    Rect expected;
};

class MoveWithin : public testing::TestWithParam<Move> {};

TEST_P(MoveWithin, keepsInsideTheScreen) {
    const Move& row = GetParam();
    EXPECT_EQ(moveWithin(row.start, row.dx, row.dy, {0, 0, 1440, 900}), row.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Table, MoveWithin,
    testing::Values(Move{"freely", {100, 100, 200, 150}, 10.5, -20.25, {110.5, 79.75, 200, 150}},
                    Move{"backToItsStart", {100.3, 100.7, 200, 150}, 0, 0, {100.3, 100.7, 200, 150}},
                    Move{"toTheRightEdge", {80, 90, 1280, 720}, 500, 0, {160, 90, 1280, 720}},
                    Move{"toTheLeftEdge", {80, 90, 1280, 720}, -500, 0, {0, 90, 1280, 720}},
                    Move{"toTheTop", {80, 90, 1280, 720}, 0, 500, {80, 180, 1280, 720}},
                    Move{"toTheBottom", {80, 90, 1280, 720}, 0, -500, {80, 0, 1280, 720}},
                    Move{"widerThanTheScreen", {0, 0, 2000, 100}, 0, 0, {-560, 0, 2000, 100}},
                    Move{"tallerThanTheScreen", {0, 0, 100, 1000}, 3, 0, {3, -100, 100, 1000}}),
    [](const auto& row) { return row.param.name; });

struct Resize {
    const char* name;
    Rect start;
    double dx;
    double dy;
    std::optional<double> aspect;
    Rect expected;
};

class ResizedRegion : public testing::TestWithParam<Resize> {};

TEST_P(ResizedRegion, keepsItsUpperLeftCorner) {
    const Resize& row = GetParam();
    expectNear(resizedRegion(row.start, row.dx, row.dy, row.aspect, {0, 0, 1440, 900}), row.expected);
}

constexpr double wide = 16.0 / 9;
constexpr double tall = 9.0 / 16;

INSTANTIATE_TEST_SUITE_P(
    Table, ResizedRegion,
    testing::Values(Resize{"freelyUpMakesItLower", {100, 200, 300, 400}, 10, 40, {}, {100, 240, 310, 360}},
                    Resize{"freelyDownMakesItTaller", {100, 200, 300, 400}, -10, -40, {}, {100, 160, 290, 440}},
                    Resize{"freelyNeverBelow120", {100, 200, 300, 400}, -1000, 1000, {}, {100, 480, 120, 120}},
                    Resize{"backToItsStart", {100.3, 200.7, 300, 400}, 0, 0, {}, {100.3, 200.7, 300, 400}},
                    Resize{"theWidthLeads", {100, 300, 320, 180}, 160, 500, wide, {100, 210, 480, 270}},
                    Resize{"theHeightIsNeverBelow120", {80, 90, 1280, 720}, -2000, 0, wide, {80, 690, wide * 120, 120}},
                    Resize{"portraitIsNeverNarrowerThan120",
                           {80, 90, 405, 720},
                           -2000,
                           0,
                           tall,
                           {80, 810 - 120 / tall, 120, 120 / tall}},
                    Resize{"theRightEdgeCutsTheAspect", {1000, 400, 320, 180}, 400, 0, wide, {1000, 175, 440, 405}},
                    Resize{"theBottomEdgeCutsTheAspect", {100, 50, 320, 180}, 320, 0, wide, {100, 0, 640, 230}},
                    Resize{"theRightEdgeCutsTheSmallestWidth", {1400, 400, 300, 300}, 0, 0, {}, {1400, 400, 40, 300}},
                    Resize{"theBottomEdgeCutsTheSmallestHeight", {100, -80, 300, 150}, 0, 100, {}, {100, 0, 300, 70}}),
    [](const auto& row) { return row.param.name; });

TEST(RegionHandles, sitInsideTheirCorners) {
    const Rect region{100.5, 200, 640, 360};
    EXPECT_EQ(moveHandleFrame(region), (Rect{104.5, 526, 30, 30}));
    EXPECT_EQ(resizeHandleFrame(region), (Rect{710.5, 204, 26, 26}));
}

} // namespace
} // namespace quillet
