// cameraBubble.cpp: the camera bubble on real X servers, by its pixels and under a hand.
#include "tests/tools/windows/desktop.h"
#include "tools/CameraPreviewWindow.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <optional>

namespace quillet {
namespace {

using ::quillet::testing::Desktop;
using ::quillet::testing::floorColour;
using ::quillet::testing::isNear;
using ::quillet::testing::soon;

/// What the left half of the camera's picture shows, and the right one.
constexpr std::uint32_t leftColour = 0xc83214;
constexpr std::uint32_t rightColour = 0x14c832;

PixelBufferRef cameraPicture(std::uint64_t sequence) {
    PixelBufferRef picture = PixelBuffer::make(320, 180);
    picture->alpha = Alpha::ignored;
    picture->sequence = sequence;
    for (int y = 0; y < picture->height(); ++y)
        for (int x = 0; x < picture->width(); ++x) {
            const std::uint32_t colour = x < picture->width() / 2 ? leftColour : rightColour;
            std::memcpy(picture->row(y) + static_cast<std::ptrdiff_t>(x) * 4, &colour, 4);
        }
    return picture;
}

/// A bubble with its picture, and a note of what it has told.
struct Bubble {
    explicit Bubble(double stored = 0)
        : diameter(stored),
          controller({.read = [this] { return diameter; }, .write = [this](double d) { diameter = d; }}) {
        controller.view.onLiveMove = [this](const Rect& frame) { live.push_back(frame); };
        controller.view.onFrameCommitted = [this](const Rect& frame) { committed.push_back(frame); };
    }
    void show(const Screen& screen) {
        controller.placeDefault(screen);
        controller.view.setPicture(cameraPicture(++pictures));
        controller.orderFront();
    }
    [[nodiscard]] const Screen& mainScreen() const { return *controller.view.screens().list.mainOrFirst(); }
    [[nodiscard]] PixelRect place() const { return desktopPixels(controller.frame(), controller.view.screens()); }
    /// The window's pixel at this part of its width and height.
    [[nodiscard]] std::pair<int, int> at(double x, double y) const {
        const PixelRect where = place();
        return {where.x + static_cast<int>(x * where.width), where.y + static_cast<int>(y * where.height)};
    }

    double diameter;
    std::uint64_t pictures = 0;
    std::vector<Rect> live;
    std::vector<Rect> committed;
    CameraPreviewController controller;
};

std::uint32_t colourAt(const Desktop& desktop, std::pair<int, int> place) {
    return desktop.eye.at(place.first, place.second);
}

bool isShown(const Desktop& desktop, const Bubble& bubble) {
    return soon([&] {
        return desktop.eye.isViewable(bubble.controller.windowIDs()[0]) &&
               isNear(colourAt(desktop, bubble.at(0.25, 0.5)), rightColour);
    });
}

TEST(AnyDesktop, theBubbleIsARoundMirrorWithARing) {
    const Desktop desktop;
    Bubble bubble;
    bubble.show(bubble.mainScreen());
    const Rect visible = bubble.mainScreen().visibleFrame;
    EXPECT_EQ(bubble.controller.frame(), (Rect{visible.maxX() - 240, visible.minY() + 40, 200, 200}));
    ASSERT_TRUE(isShown(desktop, bubble));
    EXPECT_TRUE(soon([&] { return isNear(colourAt(desktop, bubble.at(0.75, 0.5)), leftColour); }));
    const PixelRect place = bubble.place();
    const int unit = static_cast<int>(bubble.controller.view.scale());
    for (const std::pair<int, int>& edge : {std::pair{place.x + unit, place.y + place.height / 2},
                                            std::pair{place.right() - 1 - unit, place.y + place.height / 2},
                                            std::pair{place.x + place.width / 2, place.y + unit},
                                            std::pair{place.x + place.width / 2, place.bottom() - 1 - unit}})
        EXPECT_TRUE(soon([&] { return isNear(colourAt(desktop, edge), 0xffffff, 40); }))
            << edge.first << ", " << edge.second;
    // Everything outside the circle is the desktop's, and nothing inside is.
    EXPECT_TRUE(soon([&] {
        const auto picture = desktop.eye.look(place);
        const double radius = place.width / 2.0;
        for (int y = 0; y < place.height; ++y)
            for (int x = 0; x < place.width; ++x) {
                const double distance = std::hypot(x + 0.5 - radius, y + 0.5 - radius);
                const bool isFloor = picture.at(x, y) == floorColour;
                if ((distance > radius + 1 && !isFloor) || (distance < radius - 1 && isFloor)) return false;
            }
        return true;
    }));
}

TEST(AnyDesktop, theBubbleIsOnlyARingBeforeTheFirstPicture) {
    const Desktop desktop;
    Bubble bubble;
    bubble.controller.placeDefault(bubble.mainScreen());
    bubble.controller.orderFront();
    const PixelRect place = bubble.place();
    const int unit = static_cast<int>(bubble.controller.view.scale());
    EXPECT_TRUE(soon([&] { return isNear(desktop.eye.at(place.x + unit, place.y + place.height / 2), 0xffffff, 40); }));
    EXPECT_TRUE(soon([&] { return colourAt(desktop, bubble.at(0.25, 0.5)) == floorColour; }));
    bubble.controller.view.setPicture(cameraPicture(1));
    EXPECT_TRUE(isShown(desktop, bubble));
}

TEST(AnyDesktop, theBubbleShowsEachNewPicture) {
    const Desktop desktop;
    Bubble bubble;
    bubble.show(bubble.mainScreen());
    ASSERT_TRUE(isShown(desktop, bubble));
    const PixelBufferRef other = PixelBuffer::make(90, 160); // the camera was turned
    other->alpha = Alpha::ignored;
    for (int y = 0; y < other->height(); ++y)
        std::fill_n(reinterpret_cast<std::uint32_t*>(other->row(y)), other->width(), 0x3232c8U);
    bubble.controller.view.setPicture(other);
    EXPECT_TRUE(soon([&] { return isNear(colourAt(desktop, bubble.at(0.25, 0.5)), 0x3232c8); }));
}

TEST(AnyDesktop, theBubbleMovesByExactlyTheMousesWayAndStaysOnItsScreen) {
    Desktop desktop;
    Bubble bubble;
    bubble.show(bubble.mainScreen());
    ASSERT_TRUE(isShown(desktop, bubble));
    const Rect start = bubble.controller.frame();
    const double unit = bubble.controller.view.scale();
    const auto [x, y] = bubble.at(0.3, 0.3);
    desktop.eye.movePointer(x, y);
    desktop.eye.press();
    for (const auto& [dx, dy] : {std::pair{-1, 0}, std::pair{-7, -3}, std::pair{-151, -80}, std::pair{-152, -81}}) {
        desktop.eye.movePointer(x + dx, y + dy);
        const Rect expected = start.offsetBy(dx / unit, -dy / unit);
        ASSERT_TRUE(soon([&] {
            return std::hypot(bubble.controller.frame().x - expected.x, bubble.controller.frame().y - expected.y) <
                   1e-6;
        })) << dx
            << ", " << dy;
        EXPECT_EQ(bubble.live.back(), bubble.controller.frame());
        const PixelRect place = bubble.place();
        EXPECT_TRUE(soon([&] { return desktop.eye.placeOf(bubble.controller.windowIDs()[0]) == place; }));
    }
    EXPECT_TRUE(bubble.committed.empty());
    // Far beyond the lower right corner: it ends at the edges.
    const PixelRect root = desktop.eye.placeOf(desktop.eye.root());
    desktop.eye.movePointer(root.width - 1, root.height - 1);
    const Rect screen = bubble.mainScreen().frame;
    ASSERT_TRUE(soon([&] { return bubble.controller.frame() == Rect{screen.maxX() - 200, screen.minY(), 200, 200}; }));
    // And back where it began.
    desktop.eye.movePointer(x, y);
    ASSERT_TRUE(soon([&] { return bubble.controller.frame() == start; }));
    desktop.eye.release();
    ASSERT_TRUE(soon([&] { return bubble.committed.size() == 1; }));
    EXPECT_EQ(bubble.committed[0], start);
    EXPECT_EQ(bubble.diameter, 0) << "a move stores nothing";
}

TEST(AnyDesktop, theGripShowsUnderTheMouseAndResizes) {
    Desktop desktop;
    Bubble bubble;
    bubble.show(bubble.mainScreen());
    ASSERT_TRUE(isShown(desktop, bubble));
    const Rect start = bubble.controller.frame();
    const double unit = bubble.controller.view.scale();
    const auto gripPlace = [&] {
        const Point centre = bubbleGripCentre({bubble.controller.frame().width, bubble.controller.frame().height});
        const PixelRect place = bubble.place();
        return std::pair{place.x + static_cast<int>(centre.x * unit),
                         place.bottom() - static_cast<int>(centre.y * unit)};
    };
    const auto beside = [&] { return std::pair{gripPlace().first - static_cast<int>(6 * unit), gripPlace().second}; };
    EXPECT_TRUE(soon([&] { return !isNear(colourAt(desktop, beside()), 0xffffff); }));
    const auto [middleX, middleY] = bubble.at(0.4, 0.4);
    desktop.eye.movePointer(middleX, middleY);
    EXPECT_TRUE(soon([&] { return isNear(colourAt(desktop, beside()), 0xffffff); }));
    const auto rim = [&] { return std::pair{gripPlace().first - static_cast<int>(10 * unit), gripPlace().second}; };
    EXPECT_TRUE(soon([&] { return isNear(colourAt(desktop, rim()), 0x007aff, 60); }));

    const auto [x, y] = gripPlace();
    desktop.eye.movePointer(x, y);
    desktop.eye.press();
    desktop.eye.movePointer(x, y + 50);
    desktop.eye.movePointer(x + 30, y + 50);
    const double wider = 200 + 30 / unit;
    ASSERT_TRUE(soon([&] { return std::abs(bubble.controller.frame().width - wider) < 1e-6; }))
        << "up and down is nothing";
    EXPECT_NEAR(bubble.controller.frame().x, start.x, 1e-9);
    EXPECT_NEAR(bubble.controller.frame().maxY(), start.maxY(), 1e-9);
    EXPECT_TRUE(bubble.live.empty()) << "resizing is told at its end";
    EXPECT_EQ(bubble.diameter, 0);
    desktop.eye.movePointer(x - 3000, y);
    ASSERT_TRUE(soon([&] { return bubble.controller.frame().width == 90; }));
    // The pointer is far off, but the drag goes on: so the grip is there.
    EXPECT_TRUE(soon([&] { return isNear(colourAt(desktop, beside()), 0xffffff); }));
    desktop.eye.release();
    ASSERT_TRUE(soon([&] { return bubble.committed.size() == 1; }));
    EXPECT_EQ(bubble.committed[0], bubble.controller.frame());
    EXPECT_EQ(bubble.diameter, 90);
    EXPECT_TRUE(soon([&] { return !isNear(colourAt(desktop, beside()), 0xffffff); })) << "no grip any more";
    EXPECT_TRUE(isShown(desktop, bubble));
}

TEST(AnyDesktop, aClickTellsTheFrameOnceMore) {
    Desktop desktop;
    Bubble bubble(300);
    bubble.show(bubble.mainScreen());
    ASSERT_TRUE(isShown(desktop, bubble));
    bubble.diameter = 0;
    const auto [x, y] = bubble.at(0.5, 0.2);
    desktop.eye.movePointer(x, y);
    desktop.eye.press();
    desktop.eye.release();
    ASSERT_TRUE(soon([&] { return bubble.committed.size() == 1; }));
    EXPECT_EQ(bubble.committed[0], bubble.controller.frame());
    EXPECT_EQ(bubble.diameter, 0);
    // On the grip it stores the diameter, too.
    const auto [gripX, gripY] = bubble.at(0.84, 0.84);
    desktop.eye.movePointer(gripX, gripY);
    desktop.eye.press();
    desktop.eye.release();
    ASSERT_TRUE(soon([&] { return bubble.committed.size() == 2; }));
    EXPECT_EQ(bubble.diameter, 300);
    EXPECT_TRUE(bubble.live.empty());
}

TEST(AnyDesktop, whatIsBeneathTheBubblesCornersStaysWithinReach) {
    Desktop desktop;
    Bubble bubble;
    bubble.show(bubble.mainScreen());
    ASSERT_TRUE(isShown(desktop, bubble));
    int presses = 0;
    for (const auto& corner : {bubble.at(0.03, 0.03), bubble.at(0.97, 0.03), bubble.at(0.03, 0.97)}) {
        desktop.eye.movePointer(corner.first, corner.second);
        desktop.eye.press();
        desktop.eye.release();
        ++presses;
        EXPECT_TRUE(soon([&] { return desktop.eye.pressesIn(desktop.carpet) == presses; }));
    }
    EXPECT_TRUE(bubble.committed.empty());
}

TEST(TwoMonitors, theBubbleStaysOnItsScreen) {
    Desktop desktop;
    Bubble bubble;
    const Screen second = bubble.controller.view.screens().list.screens.at(1);
    bubble.show(second);
    ASSERT_TRUE(isShown(desktop, bubble));
    const auto [x, y] = bubble.at(0.3, 0.3);
    desktop.eye.movePointer(x, y);
    desktop.eye.press();
    desktop.eye.movePointer(5, 5);
    EXPECT_TRUE(soon([&] { return bubble.controller.frame().x == second.frame.x; }));
    EXPECT_TRUE(soon([&] { return bubble.controller.frame().maxY() == second.frame.maxY(); }));
    desktop.eye.release();
}

TEST(Unplugged, theBubbleComesToTheScreenThatIsLeft) {
    Bubble bubble;
    ASSERT_EQ(bubble.controller.view.screens().list.screens.size(), 2U);
    bubble.show(bubble.controller.view.screens().list.screens[1]);
    ASSERT_EQ(std::system("xrandr --delmonitor monitor1"), 0);
    ASSERT_TRUE(soon([&] { return bubble.committed.size() == 1; }));
    const Rect screen = bubble.mainScreen().frame;
    EXPECT_EQ(bubble.controller.frame(), bubble.committed[0]);
    EXPECT_EQ(bubble.controller.frame().intersection(screen), bubble.controller.frame());
}

} // namespace
} // namespace quillet
