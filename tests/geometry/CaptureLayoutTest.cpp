#include "geometry/CaptureLayout.h"

#include <gtest/gtest.h>

namespace quillet {
namespace {

Screen screenAt(Rect frame, Size pixels, std::uint32_t displayID) {
    return {.name = "", .frame = frame, .visibleFrame = frame, .displayID = displayID, .pixelSize = pixels};
}

/// A doubled laptop display, a plain one to its right and higher up; the second is the main one.
ScreenList twoScreens() {
    return {
        .screens = {screenAt({-1512, 0, 1512, 982}, {3024, 1964}, 7), screenAt({0, 0, 1920, 1080}, {1920, 1080}, 9)},
        .mainIndex = 1};
}

TEST(CaptureLayout, takesTheScreenThatHoldsTheCentreAndCutsTheRegionToIt) {
    const auto layout = CaptureLayout::make({-100, 100, 400, 300}, std::nullopt, twoScreens());
    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->displayID, 9u);
    EXPECT_EQ(layout->regionGlobal, (Rect{0, 100, 300, 300}));
    EXPECT_EQ(layout->scale, 1.0);
}

TEST(CaptureLayout, measuresTheScaleInNativePixels) {
    const auto layout = CaptureLayout::make({-1000, 100, 400, 300}, Rect{5000, 5000, 10, 10}, twoScreens());
    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->displayID, 7u);
    EXPECT_EQ(layout->scale, 2.0);
    EXPECT_EQ(layout->displayPixelSize, (Size{3024, 1964}));
    EXPECT_EQ(layout->screen.frame, (Rect{-1512, 0, 1512, 982}));
    EXPECT_EQ(layout->cameraGlobal, (Rect{5000, 5000, 10, 10})) << "the bubble is not clamped";
    EXPECT_EQ(layout->displayPixels({-1000, 100, 400.4, 300}), (Rect{1024, 200, 800, 600}));
}

TEST(CaptureLayout, aSharedEdgeBelongsToTheScreenThatBeginsThere) {
    const auto layout = CaptureLayout::make({-50, 100, 100, 100}, std::nullopt, twoScreens());
    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->displayID, 9u);
}

TEST(CaptureLayout, aCentreOnNoScreenGoesToTheMainOneAndKeepsARegionThatDoesNotMeetIt) {
    const Rect far{9000, 9000, 100, 100};
    const auto layout = CaptureLayout::make(far, std::nullopt, twoScreens());
    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->displayID, 9u);
    EXPECT_EQ(layout->regionGlobal, far);

    // Overlapping without its centre: cut all the same.
    const auto corner = CaptureLayout::make({1900, 1000, 1000, 1000}, std::nullopt, twoScreens());
    ASSERT_TRUE(corner);
    EXPECT_EQ(corner->regionGlobal, (Rect{1900, 1000, 20, 80}));

    // Touching is not meeting.
    const Rect beside{1920, 100, 400, 300};
    EXPECT_EQ(CaptureLayout::make(beside, std::nullopt, twoScreens())->regionGlobal, beside);
}

TEST(CaptureLayout, withoutAMainScreenTheFirstOneServes) {
    ScreenList screens = twoScreens();
    screens.mainIndex.reset();
    const auto layout = CaptureLayout::make({9000, 9000, 100, 100}, std::nullopt, screens);
    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->displayID, 7u);
}

TEST(CaptureLayout, isNotMadeWithoutScreensOrWithoutADisplayIdentifier) {
    EXPECT_FALSE(CaptureLayout::make({0, 0, 100, 100}, std::nullopt, {}));
    ScreenList screens = twoScreens();
    screens.screens[1].displayID.reset();
    EXPECT_FALSE(CaptureLayout::make({100, 100, 100, 100}, std::nullopt, screens));
}

TEST(CaptureLayout, aScreenWithoutWidthFallsBackToTheToolkitsScale) {
    ScreenList screens{.screens = {screenAt({0, 0, 0, 0}, {800, 600}, 3)}, .mainIndex = 0};
    screens.screens[0].backingScaleFactor = 1.5;
    const auto layout = CaptureLayout::make({0, 0, 100, 100}, std::nullopt, screens);
    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->scale, 1.5);
    EXPECT_EQ(layout->regionGlobal, (Rect{0, 0, 100, 100}));
}

TEST(CaptureLayout, mapsToDisplayPixelsFromTheScreensOwnCorner) {
    ScreenList screens{.screens = {screenAt({100, -300, 1000, 500}, {1500, 750}, 4)}, .mainIndex = 0};
    const auto layout = CaptureLayout::make({200, -200, 101, 51}, std::nullopt, screens);
    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->displayPixels(layout->regionGlobal), (Rect{150, 150, 152, 76}));
}

} // namespace
} // namespace quillet
