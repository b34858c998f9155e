#include "platform/screenGeometry.h"

#include <gtest/gtest.h>

namespace quillet {
namespace {

Monitor monitor(const char* name, std::uint32_t id, PixelRect rect) { return {name, id, rect, false}; }

ToolkitScreen screen(const char* name, QRect geometry, double ratio = 1) { return {name, geometry, geometry, ratio}; }

struct Arrangement {
    const char* name;
    std::vector<ToolkitScreen> screens;
    std::vector<Monitor> monitors;
    std::vector<Screen> expected;
    ScreenSpace space;
};

class ArrangeScreens : public ::testing::TestWithParam<Arrangement> {};

TEST_P(ArrangeScreens, joinsTheToolkitsScreensWithTheServersMonitors) {
    const Arrangement& row = GetParam();
    const ScreenArrangement result = arrangeScreens(row.screens, row.monitors);
    EXPECT_EQ(result.space, row.space);
    ASSERT_EQ(result.list.screens.size(), row.expected.size());
    for (std::size_t i = 0; i < row.expected.size(); ++i) {
        const Screen& got = result.list.screens[i];
        const Screen& wanted = row.expected[i];
        EXPECT_EQ(got.name, wanted.name);
        EXPECT_EQ(got.displayID, wanted.displayID) << got.name;
        EXPECT_EQ(got.pixelSize, wanted.pixelSize) << got.name;
        EXPECT_EQ(got.backingScaleFactor, wanted.backingScaleFactor) << got.name;
        const auto expectNear = [&](const Rect& a, const Rect& b) {
            EXPECT_NEAR(a.x, b.x, 1e-9) << got.name;
            EXPECT_NEAR(a.y, b.y, 1e-9) << got.name;
            EXPECT_NEAR(a.width, b.width, 1e-9) << got.name;
            EXPECT_NEAR(a.height, b.height, 1e-9) << got.name;
        };
        expectNear(got.frame, wanted.frame);
        expectNear(got.visibleFrame, wanted.visibleFrame);
    }
    EXPECT_EQ(result.list.mainIndex.has_value(), !row.expected.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Table, ArrangeScreens,
    ::testing::Values(
        Arrangement{"noScreenAtAll", {}, {monitor("A", 7, {0, 0, 800, 600})}, {}, {}},
        Arrangement{"oneScreen",
                    {screen("A", {0, 0, 1920, 1080})},
                    {monitor("A", 7, {0, 0, 1920, 1080})},
                    {{"A", {0, 0, 1920, 1080}, {0, 0, 1920, 1080}, 7, {1920, 1080}, 1}},
                    {0, 1080}},
        Arrangement{"aPanelAtTheTopAndADockAtTheLeft",
                    {{"A", {0, 0, 1000, 800}, {60, 30, 940, 770}, 1}},
                    {monitor("A", 7, {0, 0, 1000, 800})},
                    {{"A", {0, 0, 1000, 800}, {60, 0, 940, 770}, 7, {1000, 800}, 1}},
                    {0, 800}},
        Arrangement{"aWorkAreaOfTheWholeDesktopIsCutToEachScreen",
                    {{"A", {0, 0, 800, 600}, {0, 0, 1600, 570}, 1}, {"B", {800, 0, 800, 600}, {0, 0, 1600, 570}, 1}},
                    {monitor("A", 7, {0, 0, 800, 600}), monitor("B", 8, {800, 0, 800, 600})},
                    {{"A", {0, 0, 800, 600}, {0, 30, 800, 570}, 7, {800, 600}, 1},
                     {"B", {800, 0, 800, 600}, {800, 30, 800, 570}, 8, {800, 600}, 1}},
                    {0, 600}},
        Arrangement{"aWorkAreaElsewhereCountsForNothing",
                    {{"A", {0, 0, 800, 600}, {2000, 0, 800, 600}, 1}},
                    {monitor("A", 7, {0, 0, 800, 600})},
                    {{"A", {0, 0, 800, 600}, {0, 0, 800, 600}, 7, {800, 600}, 1}},
                    {0, 600}},
        Arrangement{"primaryAtTheRightAndLower",
                    {screen("B", {1200, 100, 800, 600}), screen("A", {0, 0, 1200, 800})},
                    {monitor("A", 7, {0, 0, 1200, 800}), monitor("B", 8, {1200, 100, 800, 600})},
                    {{"B", {0, 0, 800, 600}, {0, 0, 800, 600}, 8, {800, 600}, 1},
                     {"A", {-1200, -100, 1200, 800}, {-1200, -100, 1200, 800}, 7, {1200, 800}, 1}},
                    {1200, 700}},
        Arrangement{"oneAboveTheOther",
                    {screen("A", {0, 768, 1024, 768}), screen("B", {0, 0, 1024, 768})},
                    {monitor("B", 8, {0, 0, 1024, 768}), monitor("A", 7, {0, 768, 1024, 768})},
                    {{"A", {0, 0, 1024, 768}, {0, 0, 1024, 768}, 7, {1024, 768}, 1},
                     {"B", {0, 768, 1024, 768}, {0, 768, 1024, 768}, 8, {1024, 768}, 1}},
                    {0, 1536}},
        Arrangement{"mixedScalesLeaveAGapAndExactSizes",
                    {screen("A", {0, 0, 800, 533}, 1.5), screen("B", {1200, 0, 400, 300}, 2)},
                    {monitor("A", 7, {0, 0, 1200, 800}), monitor("B", 8, {1200, 0, 800, 600})},
                    {{"A", {0, 0, 800, 800 / 1.5}, {0, 0, 800, 800 / 1.5}, 7, {1200, 800}, 1.5},
                     {"B", {1200, 800 / 1.5 - 300, 400, 300}, {1200, 800 / 1.5 - 300, 400, 300}, 8, {800, 600}, 2}},
                    {0, 800 / 1.5}},
        Arrangement{"otherNamesMatchByPlaceAndSize",
                    {screen("screen", {1280, 0, 640, 512}, 2), screen("other", {0, 0, 1280, 1024})},
                    {monitor("DP-1", 7, {0, 0, 1280, 1024}), monitor("DP-2", 8, {1280, 0, 1280, 1024})},
                    {{"screen", {0, 0, 640, 512}, {0, 0, 640, 512}, 8, {1280, 1024}, 2},
                     {"other", {-1280, -512, 1280, 1024}, {-1280, -512, 1280, 1024}, 7, {1280, 1024}, 1}},
                    {1280, 512}},
        Arrangement{"anUnknownScreenHasNoIdentifier",
                    {screen("A", {0, 0, 640, 480}, 1.25)},
                    {monitor("B", 8, {0, 0, 1920, 1080})},
                    {{"A", {0, 0, 640, 480}, {0, 0, 640, 480}, std::nullopt, {800, 600}, 1.25}},
                    {0, 480}}),
    [](const auto& each) { return std::string(each.param.name); });

// 800 pixels at 1.5 are 533 points to the toolkit.
TEST(ScreenArrangement, isSettledWhenSizesAgree) {
    EXPECT_TRUE(arrangeScreens({}, {}).isSettled);
    EXPECT_TRUE(arrangeScreens({screen("A", {0, 0, 800, 533}, 1.5)}, {monitor("A", 7, {0, 0, 1200, 800})}).isSettled);
    EXPECT_TRUE(arrangeScreens({screen("A", {0, 0, 800, 600})}, {}).isSettled) << "nobody contradicts";
}

TEST(ScreenArrangement, isNotSettledWhileOneOfThemIsAhead) {
    EXPECT_FALSE(arrangeScreens({screen("A", {0, 0, 1024, 700})}, {monitor("A", 7, {0, 0, 1600, 900})}).isSettled);
    EXPECT_FALSE(arrangeScreens({screen("A", {0, 0, 800, 600}), screen("B", {800, 0, 800, 600})},
                                {monitor("A", 7, {0, 0, 800, 600}), monitor("B", 8, {800, 0, 1024, 600})})
                     .isSettled);
}

TEST(ScreenSpace, turnsPlacesAroundTheMainScreensBottomLeftCorner) {
    const ScreenSpace space{1200, 700};
    EXPECT_EQ(toGlobal(QPointF(1200, 700), space), (Point{0, 0}));
    EXPECT_EQ(toGlobal(QPointF(1210, 650), space), (Point{10, 50}));
    EXPECT_EQ(toGlobal(QRectF(0, 0, 100, 40), space), (Rect{-1200, 660, 100, 40}));
}

TEST(ScreenSpace, isLeftAgainByItsInverse) {
    const ScreenSpace space{-40, 533.25};
    for (const QRectF rect : {QRectF(0, 0, 10, 20), QRectF(-300.5, 12.25, 1, 0), QRectF(4000, -700, 640.5, 480)})
        EXPECT_EQ(toQt(toGlobal(rect, space), space), rect);
    EXPECT_EQ(toQt(toGlobal(QPointF(3, 4), space), space), QPointF(3, 4));
    EXPECT_EQ(toQt(Rect{10, 10, -5, -5}, space), toQt(Rect{5, 5, 5, 5}, space));
}

struct PlacedWindow {
    const char* name;
    std::vector<ToolkitScreen> screens;
    Rect frame;
    PixelRect expected;
};

class DesktopPixels : public ::testing::TestWithParam<PlacedWindow> {};

TEST_P(DesktopPixels, roundAsFilmsOfTheScreenDo) {
    const PlacedWindow& row = GetParam();
    EXPECT_EQ(desktopPixels(row.frame, arrangeScreens(row.screens, {})), row.expected);
}

const ToolkitScreen plain = screen("A", {0, 0, 1920, 1080});
const ToolkitScreen doubled = screen("A", {0, 0, 800, 500}, 2); // 1600 x 1000 pixels
const ToolkitScreen beside = screen("B", {1600, 0, 800, 600});

INSTANTIATE_TEST_SUITE_P(
    Table, DesktopPixels,
    ::testing::Values(
        PlacedWindow{"fromTheBottom", {plain}, {100, 200, 300, 400}, {100, 480, 300, 400}},
        PlacedWindow{"toEvenSizes", {plain}, {100.4, 200, 301, 399.4}, {100, 1080 - 200 - 398, 300, 398}},
        PlacedWindow{"halvesToTheEvenNeighbour", {plain}, {100.5, 201.5, 300, 400}, {100, 1080 - 202 - 400, 300, 400}},
        PlacedWindow{"partlyOutside", {plain}, {-50, -20, 300, 400}, {-50, 700, 300, 400}},
        PlacedWindow{"twicePoints", {doubled, beside}, {100.25, 50, 90.5, 60}, {200, 1000 - 100 - 120, 180, 120}},
        PlacedWindow{"onTheSecondScreen", {doubled, beside}, {1700, 0, 90, 60}, {1700, 440, 90, 60}},
        PlacedWindow{"onNoScreenAsOnTheMainOne", {doubled, beside}, {5000, 0, 90, 60}, {10000, 880, 180, 120}},
        PlacedWindow{"withoutAnyScreen", {}, {10, 20, 90, 60}, {10, -80, 90, 60}}),
    [](const auto& row) { return row.param.name; });

} // namespace
} // namespace quillet
