// regionOverlay.cpp: the outline and its handles on real X servers, by their pixels and under a hand.
#include "tests/tools/windows/desktop.h"
#include "tools/RegionOverlayWindow.h"
#include "tools/regionArithmetic.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace quillet {
namespace {

using ::quillet::testing::Desktop;
using ::quillet::testing::DesktopEye;
using ::quillet::testing::floorColour;
using ::quillet::testing::isNear;
using ::quillet::testing::over;
using ::quillet::testing::soon;

constexpr std::uint32_t blue = 0x007aff;
constexpr std::uint32_t red = 0xff3b30;

/// What a colour at `alpha` looks like over the floor on this desktop.
std::uint32_t seen(const RegionOverlayController& region, std::uint32_t colour, double alpha) {
    return over(colour, region.window.isTranslucent() ? alpha : 1, floorColour);
}

/// How many pixels thick the outline is on all four sides, or -1 where the sides differ or something else is seen.
/// Looks along lines that meet neither handles nor label.
int thickness(const DesktopEye& eye, const PixelRect& place, std::uint32_t colour) {
    const auto run = [&](int x, int y, int dx, int dy) {
        int length = 0;
        while (length < 20 && isNear(eye.at(x + length * dx, y + length * dy), colour))
            ++length;
        const bool isClearInside = eye.at(x + length * dx, y + length * dy) == floorColour;
        const bool isClearOutside = eye.at(x - dx, y - dy) == floorColour;
        return isClearInside && isClearOutside ? length : -1;
    };
    const int middleX = place.x + place.width / 2;
    const int middleY = place.y + place.height / 2;
    const int sides[] = {run(place.x, middleY, 1, 0), run(place.right() - 1, middleY, -1, 0),
                         run(middleX, place.y, 0, 1), run(middleX, place.bottom() - 1, 0, -1)};
    for (const int side : sides)
        if (side != sides[0]) return -1;
    return sides[0];
}

PixelRect placeOf(const FloatingWindow& window) { return desktopPixels(window.frame(), window.screens()); }

const Screen& mainScreen(const RegionOverlayController& region) { return *region.window.screens().list.mainOrFirst(); }

void show(RegionOverlayController& region, RangeMode mode, const Screen& screen) {
    region.apply(mode, screen);
    region.orderFront();
    region.updateHandles();
}

int scaled(const RegionOverlayController& region, double points) {
    return static_cast<int>(std::lround(points * region.window.scale()));
}

TEST(AnyDesktop, theOutlineIsDrawnExactlyAroundTheRange) {
    const Desktop desktop;
    RegionOverlayController region;
    show(region, RangeMode::ratio16x9, mainScreen(region));
    const PixelRect place = placeOf(region.window);
    EXPECT_TRUE(soon([&] { return thickness(desktop.eye, place, seen(region, blue, 0.9)) == scaled(region, 3); }));
    EXPECT_TRUE(
        soon([&] { return desktop.eye.at(place.x + place.width / 2, place.y + place.height / 2) == floorColour; }));

    region.setRecording(true);
    EXPECT_TRUE(soon([&] { return thickness(desktop.eye, place, seen(region, red, 0.95)) == scaled(region, 2); }));
    // No label, no handles.
    const PixelRect corner = PixelRect{place.x, place.y, 200, 50}.grownBy(-scaled(region, 2) - 1);
    EXPECT_TRUE(soon([&] {
        const auto picture = desktop.eye.look({corner.x + 5, corner.y + 5, corner.width, corner.height});
        return std::ranges::all_of(picture.pixels, [](std::uint32_t pixel) { return pixel == floorColour; });
    }));
    EXPECT_FALSE(region.moveHandle.isVisible());
    region.setRecording(false);
    EXPECT_TRUE(soon([&] { return thickness(desktop.eye, place, seen(region, blue, 0.9)) == scaled(region, 3); }));
    EXPECT_TRUE(region.moveHandle.isVisible());
}

TEST(AnyDesktop, theLabelStandsBesideTheMoveHandle) {
    const Desktop desktop;
    RegionOverlayController region;
    show(region, RangeMode::ratio16x9, mainScreen(region));
    const PixelRect place = placeOf(region.window);
    const int y = place.y + scaled(region, 6 + 10);
    const std::uint32_t pill = seen(region, blue, 0.85);
    EXPECT_TRUE(soon([&] { return isNear(desktop.eye.at(place.x + scaled(region, 42) + 1, y), pill); }));
    const auto shows = [&](int atX, int atY, std::uint32_t colour) {
        return soon([&] { return isNear(desktop.eye.at(atX, atY), colour); });
    };
    EXPECT_TRUE(shows(place.x + scaled(region, 60), place.y + scaled(region, 6) + 1, pill));
    EXPECT_TRUE(shows(place.x + scaled(region, 42) - 2, y, floorColour));
    EXPECT_TRUE(shows(place.x + scaled(region, 60), place.y + scaled(region, 6) - 2, floorColour));
    // White digits.
    EXPECT_TRUE(soon([&] {
        const auto text = desktop.eye.look(
            {place.x + scaled(region, 46), place.y + scaled(region, 8), scaled(region, 60), scaled(region, 18)});
        const auto isWhite = [](std::uint32_t pixel) { return isNear(pixel, 0xffffff, 40); };
        return std::ranges::count_if(text.pixels, isWhite) > 40;
    }));
}

TEST(AnyDesktop, theWholeScreenHasAnOutlineWithoutLabelAndNoneWhileRecording) {
    const Desktop desktop;
    RegionOverlayController region;
    show(region, RangeMode::fullscreen, mainScreen(region));
    const PixelRect place = placeOf(region.window);
    EXPECT_EQ(place, desktop.eye.placeOf(desktop.eye.root()));
    EXPECT_TRUE(soon([&] { return isNear(desktop.eye.at(place.width / 2, 1), seen(region, blue, 0.9)); }));
    EXPECT_TRUE(soon([&] { return desktop.eye.at(scaled(region, 50), scaled(region, 15)) == floorColour; }));
    EXPECT_FALSE(region.moveHandle.isVisible());
    EXPECT_FALSE(region.resizeHandle.isVisible());
    region.setRecording(true);
    EXPECT_TRUE(soon([&] { return desktop.eye.at(place.width / 2, 1) == floorColour; }));
}

TEST(AnyDesktop, theHandlesFollowWhetherTheOutlineIsThere) {
    RegionOverlayController region;
    EXPECT_EQ(region.frame(), (Rect{0, 0, 960, 540}));
    region.updateHandles();
    EXPECT_FALSE(region.moveHandle.isVisible());
    show(region, RangeMode::free, mainScreen(region));
    EXPECT_TRUE(region.moveHandle.isVisible());
    EXPECT_TRUE(region.resizeHandle.isVisible());
    EXPECT_EQ(region.moveHandle.frame(), moveHandleFrame(region.frame()));
    EXPECT_EQ(region.resizeHandle.frame(), resizeHandleFrame(region.frame()));
    region.setRecording(true);
    region.updateHandles();
    EXPECT_FALSE(region.resizeHandle.isVisible());
    region.setRecording(false);
    EXPECT_TRUE(region.resizeHandle.isVisible());
    region.orderOut();
    EXPECT_FALSE(region.window.isVisible());
    EXPECT_FALSE(region.moveHandle.isVisible());
    const std::vector<std::uint32_t> numbers = region.windowIDs();
    EXPECT_EQ(numbers, (std::vector{region.window.windowNumber(), region.moveHandle.windowNumber(),
                                    region.resizeHandle.windowNumber()}));
}

TEST(AnyDesktop, theRangeItselfLetsTheMouseThrough) {
    Desktop desktop;
    RegionOverlayController region;
    show(region, RangeMode::ratio16x9, mainScreen(region));
    const PixelRect place = placeOf(region.window);
    ASSERT_TRUE(soon([&] { return thickness(desktop.eye, place, seen(region, blue, 0.9)) > 0; }));
    int presses = 0;
    for (const auto& [x, y] : {std::pair{place.x + 1, place.y + place.height / 2}, // the outline
                               std::pair{place.x + place.width / 2, place.y + place.height / 2},
                               std::pair{place.x + scaled(region, 50), place.y + scaled(region, 12)}}) { // the label
        desktop.eye.movePointer(x, y);
        desktop.eye.press();
        desktop.eye.release();
        ++presses;
        EXPECT_TRUE(soon([&] { return desktop.eye.pressesIn(desktop.carpet) == presses; })) << x << ", " << y;
    }
}

/// Drags from the middle of `handle`, step by step, and gives the range after each step.
std::vector<Rect> drag(Desktop& desktop, const FloatingWindow& handle, RegionOverlayController& region,
                       const std::vector<std::pair<int, int>>& steps) {
    const PixelRect grip = placeOf(handle);
    const int x = grip.x + grip.width / 2;
    const int y = grip.y + grip.height / 2;
    const Rect before = region.frame();
    const double unit = region.window.scale();
    // What is seen alone proves nothing: compositing managers are behind at times.
    EXPECT_TRUE(soon([&] {
        return desktop.eye.isViewable(handle.windowNumber()) &&
               isNear(desktop.eye.at(grip.x + 6, y), seen(region, blue, 0.95), 30);
    }));
    desktop.eye.movePointer(x, y);
    desktop.eye.press();
    std::vector<Rect> ranges;
    for (const auto& [dx, dy] : steps) {
        desktop.eye.movePointer(x + dx, y + dy);
        const bool isMove = &handle == &region.moveHandle;
        const Rect expected =
            isMove ? before.offsetBy(dx / unit, -dy / unit)
                   : Rect{before.x, before.y - dy / unit, before.width + dx / unit, before.height + dy / unit};
        EXPECT_TRUE(soon([&] {
            const Rect now = region.frame();
            return std::abs(now.x - expected.x) + std::abs(now.y - expected.y) + std::abs(now.width - expected.width) +
                       std::abs(now.height - expected.height) <
                   1e-6;
        })) << dx
            << ", " << dy;
        ranges.push_back(region.frame());
    }
    desktop.eye.release();
    return ranges;
}

TEST(AnyDesktop, theHandlesMoveAndResizeByExactlyTheMousesWay) {
    Desktop desktop;
    RegionOverlayController region;
    show(region, RangeMode::free, mainScreen(region));
    const std::vector<std::pair<int, int>> way{{7, 0}, {7, 11}, {-20, 35}, {33, -21}, {0, 0}};
    const Rect start = region.frame();
    EXPECT_EQ(drag(desktop, region.moveHandle, region, way).back(), start) << "back at its start";
    EXPECT_EQ(drag(desktop, region.resizeHandle, region, way).back(), start) << "back at its start";
    (void)drag(desktop, region.moveHandle, region, {{30, 14}});
    (void)drag(desktop, region.resizeHandle, region, {{-50, -26}});
    const PixelRect place = placeOf(region.window);
    EXPECT_TRUE(soon([&] { return thickness(desktop.eye, place, seen(region, blue, 0.9)) == scaled(region, 3); }));
    // Where it is cut, the cut is not far from its edge.
    EXPECT_TRUE(soon([&] {
        const PixelRect seen = desktop.eye.placeOf(region.moveHandle.windowNumber());
        const PixelRect wanted = placeOf(region.moveHandle);
        return wanted.contains(seen) && seen.grownBy(scaled(region, 1)).contains(wanted);
    }));
    EXPECT_EQ(region.moveHandle.frame(), moveHandleFrame(region.frame()));
}

TEST(TwoMonitors, theRangeStaysOnItsScreen) {
    Desktop desktop;
    RegionOverlayController region;
    ASSERT_EQ(region.window.screens().list.screens.size(), 2U);
    const Screen second = region.window.screens().list.screens[1];
    show(region, RangeMode::ratio16x9, second);
    EXPECT_EQ(region.window.holdingScreen()->name, second.name);
    const PixelRect place = placeOf(region.window);
    EXPECT_TRUE(soon([&] { return thickness(desktop.eye, place, seen(region, blue, 0.9)) == scaled(region, 3); }));
    const PixelRect grip = placeOf(region.moveHandle);
    desktop.eye.movePointer(grip.x + 10, grip.y + 10);
    desktop.eye.press();
    desktop.eye.movePointer(5, 5);
    EXPECT_TRUE(soon([&] { return region.frame().x == second.frame.x; }));
    EXPECT_TRUE(soon([&] { return region.frame().maxY() == second.frame.maxY(); }));
    desktop.eye.release();
}

// The second monitor is unplugged.
TEST(Unplugged, theRangeComesToTheScreenThatIsLeft) {
    RegionOverlayController region;
    ASSERT_EQ(region.window.screens().list.screens.size(), 2U);
    show(region, RangeMode::ratio16x9, region.window.screens().list.screens[1]);
    const Rect before = region.frame();
    ASSERT_EQ(std::system("xrandr --delmonitor monitor1"), 0);
    ASSERT_TRUE(soon([&] { return region.window.screens().list.screens.size() == 1; }));
    const Screen left = mainScreen(region);
    EXPECT_TRUE(soon([&] { return region.frame() == placedRegion(RangeMode::ratio16x9, before.size(), left); }));
    EXPECT_EQ(region.moveHandle.frame(), moveHandleFrame(region.frame()));
    EXPECT_TRUE(region.moveHandle.isVisible());
}

} // namespace
} // namespace quillet
