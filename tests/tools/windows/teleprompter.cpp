// teleprompter.cpp: the teleprompter on real X servers. CMakeLists.txt says on which desktop each suite runs.
#include "tests/fakes/x11/DesktopEye.h"
#include "tests/tools/windows/onDesktop.h"
#include "tools/TeleprompterLayout.h"
#include "tools/TeleprompterView.h"
#include "tools/TeleprompterWindow.h"
#include "ui/ContinuousSlider.h"

#include <QAccessible>
#include <QApplication>
#include <QInputMethodEvent>
#include <QMimeData>
#include <QPushButton>
#include <QScrollBar>
#include <QTextEdit>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace quillet {
namespace {

using ::quillet::testing::DesktopEye;
using ::quillet::testing::soon;

constexpr std::uint32_t floor = 0x4080c0;

/// A teleprompter where it is first shown, and somebody in front of it.
class Reading {
public:
    Reading() : carpet(eye.openPopup(eye.placeOf(eye.root()).grownBy(-1), floor)) {
        const std::uint32_t below = XCB_STACK_MODE_BELOW;
        xcb_configure_window(eye.xcb(), carpet, XCB_CONFIG_WINDOW_STACK_MODE, &below);
        eye.sync();
        controller.showOn(*currentScreens().list.mainOrFirst());
        if (!soon([&] { return eye.isViewable(number()) && text().viewport()->height() > 100; }))
            throw std::runtime_error("the teleprompter has not appeared");
    }

    [[nodiscard]] std::uint32_t number() const { return controller.window().windowNumber(); }
    [[nodiscard]] PixelRect place() const { return eye.placeOf(number()); }
    [[nodiscard]] QTextEdit& text() const { return *controller.view().findChild<QTextEdit*>(); }
    [[nodiscard]] QPushButton& button(const char* title) const {
        for (QPushButton* const each : controller.view().findChildren<QPushButton*>())
            if (each->text() == QString::fromUtf8(title)) return *each;
        throw std::runtime_error(std::string("no button shows ") + title);
    }
    [[nodiscard]] bool shows(const char* title) const {
        for (const QPushButton* each : controller.view().findChildren<QPushButton*>())
            if (each->text() == QString::fromUtf8(title)) return true;
        return false;
    }
    void setLongText() { text().setPlainText(QStringLiteral("一行脚本\n").repeated(500)); }
    [[nodiscard]] int offset() const { return text().verticalScrollBar()->value(); }

    /// Pixels per point.
    [[nodiscard]] double scale() const { return controller.window().scale(); }
    /// The pixel of a place within the window, which is given in points.
    [[nodiscard]] QPoint pixelOf(int x, int y) const {
        const PixelRect where = place();
        return {where.x + static_cast<int>(std::lround(x * scale())),
                where.y + static_cast<int>(std::lround(y * scale()))};
    }
    [[nodiscard]] std::uint32_t colourAt(int x, int y) const { return eye.at(pixelOf(x, y).x(), pixelOf(x, y).y()); }

    /// With the mouse, at a place within the window, in points.
    void click(int x, int y) {
        eye.movePointer(pixelOf(x, y).x(), pixelOf(x, y).y());
        eye.press();
        eye.release();
    }
    /// From a place within the window, in points, by so many pixels.
    void drag(int x, int y, int dx, int dy) {
        const QPoint start = pixelOf(x, y);
        eye.movePointer(start.x(), start.y());
        eye.press();
        for (int step = 1; step <= 4; ++step)
            eye.movePointer(start.x() + dx * step / 4, start.y() + dy * step / 4);
        eye.release();
    }
    /// What the window's frame becomes on the screen, once it is there.
    [[nodiscard]] PixelRect placeOfFrame() const {
        return desktopPixels(controller.window().frame(), currentScreens());
    }

    DesktopEye eye;
    TeleprompterController controller;

private:
    xcb_window_t carpet;
};

TEST(AnyDesktop, theTeleprompterAppearsInTheLowerMiddleWithItsFirstText) {
    const Reading reading;
    const Screen screen = *currentScreens().list.mainOrFirst();
    const Rect visible = screen.visibleFrame;
    EXPECT_EQ(reading.controller.window().frame(), (Rect{visible.midX() - 230, visible.minY() + 120, 460, 320}));
    EXPECT_TRUE(
        soon([&] { return reading.place() == desktopPixels(reading.controller.window().frame(), currentScreens()); }));
    EXPECT_EQ(reading.text().toPlainText(),
              QStringLiteral("在这里粘贴你的脚本…\n\n点 ▶ 开始滚动，用下面的滑杆调字号和速度。"));
    EXPECT_EQ(reading.text().font().pixelSize(), 30);
    EXPECT_EQ(reading.controller.view().speed(), 60);
    EXPECT_FALSE(reading.controller.view().isPlaying());
    EXPECT_EQ(reading.controller.windowIDs(), std::vector<std::uint32_t>{reading.number()});
}

TEST(AnyDesktop, theTeleprompterPlaysAndStopsByItsButton) {
    Reading reading;
    reading.setLongText();
    reading.click(32, 21);
    ASSERT_TRUE(soon([&] { return reading.shows("⏸"); }));
    EXPECT_TRUE(soon([&] { return reading.offset() >= 5; }));
    reading.click(32, 21);
    ASSERT_TRUE(soon([&] { return reading.shows("▶"); }));
    const int stopped = reading.offset();
    for (int i = 0; i < 20; ++i)
        reading.controller.view().tick();
    EXPECT_EQ(reading.offset(), stopped);
}

TEST(AnyDesktop, theTeleprompterGoesToTheTopAndPlaysOn) {
    Reading reading;
    reading.setLongText();
    reading.controller.view().togglePlay();
    reading.text().verticalScrollBar()->setValue(3000);
    reading.click(96, 21);
    EXPECT_TRUE(soon([&] { return reading.offset() < 1000; }));
    EXPECT_TRUE(reading.controller.view().isPlaying());
    const int top = reading.offset();
    EXPECT_TRUE(soon([&] { return reading.offset() > top; }));
}

TEST(AnyDesktop, theTeleprompterScrollsToTheEndOfAScriptThatWasJustPastedAndStopsThere) {
    Reading reading;
    reading.text().setPlainText(QStringLiteral("一行脚本\n").repeated(10000)); // 50,000 characters
    auto& view = reading.controller.view();
    view.setSpeed(260);
    view.togglePlay();
    view.tick();
    EXPECT_EQ(reading.offset(), 4); // 260 / 60 points
    const int end = reading.text().verticalScrollBar()->maximum();
    EXPECT_GT(end, 10000 * 30);
    reading.text().verticalScrollBar()->setValue(end - 3);
    EXPECT_TRUE(view.isPlaying());
    view.tick();
    EXPECT_EQ(reading.offset(), end);
    EXPECT_FALSE(view.isPlaying());
    EXPECT_TRUE(reading.shows("▶"));
}

TEST(AnyDesktop, theTeleprompterStopsAtOnceWhereThereIsNothingToScroll) {
    Reading reading;
    reading.controller.view().togglePlay();
    EXPECT_TRUE(reading.shows("⏸"));
    reading.controller.view().tick();
    EXPECT_TRUE(reading.shows("▶"));
    EXPECT_EQ(reading.offset(), 0);
}

TEST(AnyDesktop, theTeleprompterTakesSizeAndSpeedFromItsSliders) {
    Reading reading;
    EXPECT_EQ(reading.controller.view().fontSize(), 30);
    // Presses at the ends of the two sliders, 136 to 290 and 296 to 450.
    reading.click(138, 21);
    EXPECT_TRUE(soon([&] { return reading.controller.view().fontSize() == 14; }));
    EXPECT_EQ(reading.text().font().pixelSize(), 14);
    reading.click(288, 21);
    EXPECT_TRUE(soon([&] { return reading.controller.view().fontSize() == 64; }));
    EXPECT_EQ(reading.text().font().pixelSize(), 64);
    reading.click(298, 21);
    EXPECT_TRUE(soon([&] { return reading.controller.view().speed() == 10; }));
    reading.click(448, 21);
    EXPECT_TRUE(soon([&] { return reading.controller.view().speed() == 260; }));
}

TEST(AnyDesktop, theTeleprompterMovesByItsBackground) {
    Reading reading;
    const PixelRect before = reading.place();
    reading.drag(230, 3, 41, -27); // above the sliders
    EXPECT_TRUE(soon([&] { return reading.place() == before.offsetBy(41, -27); }));
    reading.drag(5, 200, -20, 10); // the margin beside the text
    EXPECT_TRUE(soon([&] { return reading.place() == before.offsetBy(21, -17); }));
}

TEST(AnyDesktop, theTeleprompterIsResizedByItsGripAndItsUpperLeftCornerStays) {
    Reading reading;
    const PixelRect before = reading.place();
    const Rect start = reading.controller.window().frame();
    const double scale = reading.scale();
    reading.drag(450, 310, 60, 35);
    const Rect larger = withEvenPixels(resizedByGrip(start, 60 / scale, -35 / scale), scale);
    EXPECT_TRUE(soon([&] { return reading.controller.window().frame() == larger; }));
    EXPECT_EQ(larger.width, std::ceil((460 * scale + 60) / 2) * 2 / scale);
    EXPECT_TRUE(soon([&] { return reading.place() == reading.placeOfFrame(); }));
    EXPECT_EQ(std::pair(reading.place().x, reading.place().y), std::pair(before.x, before.y));
    const auto& window = reading.controller.window();
    EXPECT_TRUE(soon([&] { return reading.text().geometry() == TeleprompterLayout(window.size()).script; }));

    const QPoint grip(static_cast<int>(larger.width) - 10, static_cast<int>(larger.height) - 10);
    reading.drag(grip.x(), grip.y(), -1000, -1000);
    const auto smallest = [&](double points) { return static_cast<int>(std::ceil(points * scale / 2)) * 2; };
    const PixelRect expected{before.x, before.y, smallest(260), smallest(160)};
    EXPECT_TRUE(soon([&] { return reading.place() == expected; }));
}

TEST(AnyDesktop, theTeleprompterTakesTheKeyboardAndChineseByAnInputMethod) {
    Reading reading;
    reading.click(200, 150);
    EXPECT_TRUE(soon([&] { return reading.eye.keyboardHolder() == reading.number(); }));
    EXPECT_TRUE(soon([&] { return QApplication::focusWidget() == &reading.text(); }));
    EXPECT_TRUE(reading.text().testAttribute(Qt::WA_InputMethodEnabled));
    EXPECT_TRUE(reading.text().inputMethodQuery(Qt::ImEnabled).toBool());
    reading.text().selectAll();
    QInputMethodEvent composing(QStringLiteral("ni hao"), {});
    QApplication::sendEvent(QApplication::focusObject(), &composing);
    QInputMethodEvent chosen;
    chosen.setCommitString(QStringLiteral("你好"));
    QApplication::sendEvent(QApplication::focusObject(), &chosen);
    EXPECT_EQ(reading.text().toPlainText(), QStringLiteral("你好"));
    // A press on a button leaves the keyboard with the text.
    reading.click(96, 21);
    EXPECT_TRUE(soon([&] { return !reading.button("⇱ 顶部").isDown(); }));
    EXPECT_EQ(QApplication::focusWidget(), &reading.text());
}

TEST(AnyDesktop, theTeleprompterTakesOnlyTheWordsOfWhatIsPasted) {
    class Pasting : public QTextEdit {
    public:
        using QTextEdit::insertFromMimeData;
    };
    Reading reading;
    EXPECT_FALSE(reading.text().acceptRichText());
    QMimeData page;
    page.setHtml(QStringLiteral("<h1>Big</h1>"));
    page.setText(QStringLiteral("small"));
    reading.text().selectAll();
    (reading.text().*&Pasting::insertFromMimeData)(&page);
    EXPECT_EQ(reading.text().toPlainText(), QStringLiteral("small"));
}

TEST(AnyDesktop, theTeleprompterNamesItsControls) {
    const Reading reading;
    std::vector<std::string> names;
    for (const QWidget* each : reading.controller.view().findChildren<QWidget*>())
        if (each->focusPolicy() & Qt::TabFocus)
            names.push_back(QAccessible::queryAccessibleInterface(const_cast<QWidget*>(each))
                                ->text(QAccessible::Name)
                                .toStdString());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"⇱ 顶部", "▶", "字号", "脚本", "速度"}));
}

TEST(AnyDesktop, aSteadyClockKeepsToItsGrid) {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::nanoseconds step{1'000'000'000 / 60};
    const Clock::time_point start = Clock::now();
    std::vector<Clock::time_point> ticks;
    TickTimer timer(step, [&] { ticks.push_back(Clock::now()); });
    timer.start();
    ASSERT_TRUE(soon([&] { return ticks.size() >= 30; }));
    timer.stop();
    for (std::size_t i = 0; i < ticks.size(); ++i) {
        // Never early by more than the millisecond that timers are made of; so never faster on average either.
        const auto earliest = start + step * static_cast<int>(i + 1) - std::chrono::milliseconds(1);
        EXPECT_GE(ticks[i], earliest) << i;
    }
    const std::size_t count = ticks.size();
    EXPECT_FALSE(timer.isRunning());
    QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    EXPECT_EQ(ticks.size(), count);
}

/// Whether a pixel shows the floor beneath black of this opacity.
bool isDimmed(std::uint32_t colour, double opacity) {
    for (const int shift : {0, 8, 16}) {
        const double expected = static_cast<double>(floor >> shift & 0xff) * (1 - opacity);
        if (std::abs(static_cast<double>(colour >> shift & 0xff) - expected) > 2) return false;
    }
    return true;
}

TEST(Composited, theTeleprompterDimsWhatIsBeneathIt) {
    const Reading reading;
    const PixelRect place = reading.place();
    EXPECT_TRUE(soon([&] { return isDimmed(reading.colourAt(230, 290), 0.6); }));
    EXPECT_TRUE(soon([&] { return reading.eye.at(place.x, place.y) == floor; }));
}

TEST(Plain, theTeleprompterIsSolidWithRoundCorners) {
    const Reading reading;
    const PixelRect place = reading.place();
    EXPECT_TRUE(soon([&] { return reading.colourAt(230, 290) == 0x202022; }));
    EXPECT_EQ(reading.eye.at(place.x, place.y), floor);
    EXPECT_EQ(reading.eye.at(place.x + place.width - 1, place.y + place.height - 1), floor);
    EXPECT_EQ(reading.colourAt(10, 0), 0x202022U);
}

} // namespace
} // namespace quillet
