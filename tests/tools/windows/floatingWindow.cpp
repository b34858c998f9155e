// floatingWindow.cpp: the window layer on real X servers. CMakeLists.txt says on which desktop each suite runs.
#include "tools/FloatingWindow.h"

#include "tests/fakes/x11/ChildProgram.h"
#include "tests/tools/windows/desktop.h"

#include <QPainter>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>

namespace quillet {
namespace {

using ::quillet::testing::Desktop;
using ::quillet::testing::DesktopEye;
using ::quillet::testing::floorColour;
using ::quillet::testing::soon;

constexpr std::uint32_t ink = 0xd02010;

/// A square frame of `ink`, a quarter of its width thick, and nothing within.
class Framed : public FloatingWindow {
public:
    using FloatingWindow::FloatingWindow;

protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter(this);
        usePixels(painter);
        painter.setClipRegion(border());
        painter.fillRect(QRect(QPoint(), pixelSize()), QColor(0xd0, 0x20, 0x10));
    }
    [[nodiscard]] std::optional<QRegion> shape() const override {
        return isTranslucent() ? std::nullopt : std::optional(border());
    }

private:
    [[nodiscard]] QRegion border() const {
        const QRect whole(QPoint(), pixelSize());
        const int width = whole.width() / 4;
        return QRegion(whole).subtracted(whole.adjusted(width, width, -width, -width));
    }
};

bool isShown(const DesktopEye& eye, const PixelRect& place) {
    return soon([&] { return eye.at(place.x, place.y) == ink; });
}

TEST(AnyDesktop, hasTheScaleThatItWasStartedWith) {
    const char* const wanted = std::getenv("QT_SCALE_FACTOR");
    EXPECT_EQ(currentScreens().list.mainOrFirst()->scale(), wanted ? std::atof(wanted) : 1);
}

TEST(TwoMonitors, haveTheScalesThatTheyWereStartedWith) {
    const bool areScaled = std::getenv("QT_SCREEN_SCALE_FACTORS") != nullptr;
    EXPECT_EQ(currentScreens().list.screens.at(0).scale(), 1);
    EXPECT_EQ(currentScreens().list.screens.at(1).scale(), areScaled ? 1.5 : 1);
}

TEST(AnyDesktop, aFloatingWindowStandsExactlyWhereItWasPutAndReadsBackExactly) {
    const Desktop desktop;
    Framed window({.accessibleName = "frame"});
    for (const Rect& frame : {Rect{100, 200, 80, 40}, Rect{100.25, 200.75, 81.5, 41.9}, Rect{700, 400, 60.5, 60}}) {
        window.setFrame(frame);
        window.orderFront();
        EXPECT_EQ(window.frame(), frame);
        const PixelRect place = desktopPixels(frame, currentScreens());
        EXPECT_TRUE(soon([&] { return desktop.eye.placeOf(window.windowNumber()) == place; }));
        EXPECT_TRUE(isShown(desktop.eye, place));
    }
}

TEST(AnyDesktop, aFloatingWindowIsTransparentWhereNothingIsDrawn) {
    const Desktop desktop;
    Framed window({.accessibleName = "frame"});
    window.setFrame({100, 200, 80, 80});
    window.orderFront();
    const PixelRect place = desktopPixels(window.frame(), window.screens());
    ASSERT_TRUE(isShown(desktop.eye, place));
    // Whoever composes the desktop may be a little behind.
    EXPECT_TRUE(soon([&] {
        const auto picture = desktop.eye.look(place);
        for (int y = 0; y < place.height; ++y)
            for (int x = 0; x < place.width; ++x) {
                const int border = place.width / 4;
                const bool hole = x >= border && x < place.width - border && y >= border && y < place.height - border;
                if (picture.at(x, y) != (hole ? floorColour : ink)) return false;
            }
        return true;
    }));
    // No shadow around it either.
    EXPECT_TRUE(soon([&] {
        const auto above = desktop.eye.look({place.x - 20, place.y - 10, place.width + 40, 1});
        return std::ranges::all_of(above.pixels, [](std::uint32_t pixel) { return pixel == floorColour; });
    }));
}

// A compositing manager comes and goes while the window is shown.
TEST(Plain, aFloatingWindowChangesBetweenShapeAndTransparency) {
    const Desktop desktop;
    Framed window({.accessibleName = "frame"});
    window.setFrame({100, 200, 80, 80});
    window.orderFront();
    const PixelRect place = desktopPixels(window.frame(), window.screens());
    const auto looksRight = [&] {
        return desktop.eye.at(place.x, place.y) == ink && desktop.eye.at(place.x + 40, place.y + 40) == floorColour;
    };
    EXPECT_TRUE(soon(looksRight));
    EXPECT_FALSE(window.isTranslucent());
    for (int i = 0; i < 2; ++i) {
        const auto compositor = ::quillet::testing::ChildProgram::start(
            {.arguments = {"picom", "--backend", "xrender", "--config", "/dev/null"}, .environment = {}});
        ASSERT_TRUE(compositor);
        EXPECT_TRUE(soon([&] { return window.isTranslucent() && looksRight(); }));
        compositor->end(SIGTERM);
        EXPECT_TRUE(soon([&] { return !window.isTranslucent() && looksRight(); }));
    }
}

TEST(AnyDesktop, theMouseGoesThroughAWindowThatLetsIt) {
    Desktop desktop;
    Framed window({.accessibleName = "frame", .mouse = FloatingWindow::Mouse::passesThrough});
    window.setFrame({100, 200, 80, 80});
    window.orderFront();
    const PixelRect place = desktopPixels(window.frame(), window.screens());
    ASSERT_TRUE(isShown(desktop.eye, place));
    desktop.eye.movePointer(place.x + 4, place.y + 4);
    desktop.eye.press();
    desktop.eye.release();
    EXPECT_TRUE(soon([&] { return desktop.eye.pressesIn(desktop.carpet) == 1; }));
}

TEST(AnyDesktop, aFloatingWindowStaysInFrontOfAFullScreenWindowThatComesLater) {
    Desktop desktop;
    Framed window({.accessibleName = "frame"});
    window.setFrame({100, 200, 80, 80});
    window.orderFront();
    const PixelRect place = desktopPixels(window.frame(), window.screens());
    ASSERT_TRUE(isShown(desktop.eye, place));
    desktop.eye.close(desktop.carpet);
    const xcb_window_t film = desktop.eye.openWindow({0, 0, 300, 200}, 0x00ff00, DesktopEye::Extent::fullScreen);
    ASSERT_TRUE(soon([&] { return desktop.eye.at(place.x - 3, place.y) == 0x00ff00U; }));
    EXPECT_TRUE(isShown(desktop.eye, place));
    const std::uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(desktop.eye.xcb(), film, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    desktop.eye.sync();
    EXPECT_TRUE(isShown(desktop.eye, place));
}

TEST(AnyDesktop, aFloatingWindowIsOnEveryWorkspace) {
    Desktop desktop;
    Framed window({.accessibleName = "frame"});
    window.setFrame({100, 200, 80, 80});
    window.orderFront();
    const PixelRect place = desktopPixels(window.frame(), window.screens());
    ASSERT_TRUE(isShown(desktop.eye, place));
    const xcb_window_t other = desktop.eye.openWindow({500, 300, 50, 50}, 0x00ff00);
    ASSERT_TRUE(soon([&] { return desktop.eye.isViewable(other); }));
    ASSERT_EQ(std::system("xdotool set_desktop 1"), 0);
    // An ordinary window stays behind.
    EXPECT_TRUE(soon([&] { return !desktop.eye.isViewable(other); }));
    EXPECT_TRUE(desktop.eye.isViewable(window.windowNumber()));
    EXPECT_TRUE(isShown(desktop.eye, place));
    EXPECT_EQ(std::system("xdotool set_desktop 0"), 0);
    // The window manager tells the workspace's name in the middle of the screen for a while.
    desktop.eye.close(other);
    const PixelRect root = desktop.eye.placeOf(desktop.eye.root());
    EXPECT_TRUE(soon([&] { return desktop.eye.at(root.width / 2, root.height / 2) == floorColour; }));
}

// Without a window manager the test decides itself which window looks as if one cared for it.
TEST(NoManager, aFloatingWindowRisesAbovePrograms) {
    Desktop desktop;
    Framed lower({.accessibleName = "lower"});
    lower.setFrame({100, 200, 80, 80});
    lower.orderFront();
    Framed upper({.accessibleName = "upper"});
    upper.setFrame({400, 200, 80, 80});
    upper.orderFront();
    ASSERT_TRUE(isShown(desktop.eye, desktopPixels(lower.frame(), lower.screens())));
    for (int i = 0; i < 3; ++i) {
        const xcb_window_t program = desktop.eye.openPopup({0, 0, 1280, 800}, 0x00ff00);
        desktop.eye.markAsManaged(program);
        const xcb_window_t newcomer = desktop.eye.openPopup({600, 0, 10, 10}, 0xff00ff);
        EXPECT_TRUE(soon([&] {
            return desktop.eye.stack() ==
                   std::vector({desktop.carpet, program, newcomer, lower.windowNumber(), upper.windowNumber()});
        }));
        desktop.eye.close(program);
        desktop.eye.close(newcomer);
    }
}

TEST(NoManager, aFloatingWindowLeavesMenusOfOthersInFront) {
    Desktop desktop;
    Framed window({.accessibleName = "frame"});
    window.setFrame({100, 200, 80, 80});
    window.orderFront();
    ASSERT_TRUE(isShown(desktop.eye, desktopPixels(window.frame(), window.screens())));
    const xcb_window_t menu = desktop.eye.openPopup({100, 500, 300, 200}, 0xffffff);
    // Whether it is judged rightly shows once it has been judged: a question to the same watch has been answered.
    FloatingWindow other({.accessibleName = "other"});
    other.setFrame({300, 200, 10, 10});
    other.orderFront();
    ASSERT_TRUE(soon([&] { return desktop.eye.stack().back() == other.windowNumber(); }));
    for (int i = 0; i < 50; ++i)
        QCoreApplication::processEvents();
    EXPECT_EQ(desktop.eye.stack(), std::vector({desktop.carpet, window.windowNumber(), menu, other.windowNumber()}));
}

// Somebody who rises whenever he is covered: the two must not flicker at full speed for ever.
TEST(NoManager, aFloatingWindowDoesNotFight) {
    Desktop desktop;
    Framed window({.accessibleName = "frame"});
    window.setFrame({100, 200, 80, 80});
    window.orderFront();
    ASSERT_TRUE(isShown(desktop.eye, desktopPixels(window.frame(), window.screens())));
    const xcb_window_t rival = desktop.eye.openPopup({0, 0, 1280, 800}, 0x00ff00);
    desktop.eye.markAsManaged(rival);
    const auto start = std::chrono::steady_clock::now();
    std::size_t defeats = 0;
    EXPECT_TRUE(soon([&] {
        if (desktop.eye.stack().back() == window.windowNumber()) {
            ++defeats;
            desktop.eye.raise(rival);
        }
        return defeats == RaisePacing::burst + 1;
    }));
    EXPECT_GE(std::chrono::steady_clock::now() - start, RaisePacing::window);
}

TEST(AnyDesktop, aFloatingWindowTakesNoKeyboardUnlessItIsPressedAndWantsIt) {
    Desktop desktop;
    const xcb_window_t editor = desktop.eye.openWindow({600, 100, 200, 200}, 0x00ff00);
    ASSERT_TRUE(soon([&] { return desktop.eye.keyboardHolder() == editor; }));
    const auto pressIn = [&](const FloatingWindow& window) {
        const PixelRect place = desktopPixels(window.frame(), window.screens());
        ASSERT_TRUE(isShown(desktop.eye, place));
        desktop.eye.movePointer(place.x + 4, place.y + 4);
        desktop.eye.press();
        desktop.eye.release();
    };
    Framed shy({.accessibleName = "shy"});
    shy.setFrame({100, 200, 80, 80});
    shy.orderFront();
    pressIn(shy);
    Framed eager({.accessibleName = "eager", .keyboard = FloatingWindow::Keyboard::whenPressed});
    eager.setFrame({300, 200, 80, 80});
    eager.orderFront();
    EXPECT_EQ(desktop.eye.keyboardHolder(), editor);
    pressIn(eager);
    EXPECT_TRUE(soon([&] { return desktop.eye.keyboardHolder() == eager.windowNumber(); }));
    EXPECT_TRUE(soon([&] { return eager.isActiveWindow(); }));
    eager.orderOut();
    EXPECT_TRUE(soon([&] { return desktop.eye.keyboardHolder() == editor; }));
}

} // namespace
} // namespace quillet
