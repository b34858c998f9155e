// screensTest.cpp: the toolkit's screens joined with a real server's monitors. Each case runs on a virtual desktop of
// its own, whose monitors and scale factors CMakeLists.txt sets.
#include "platform/Screens.h"

#include <QGuiApplication>
#include <QScreen>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

namespace quillet {
namespace {

/// The screen of that name, or one that fits nowhere.
Screen named(const ScreenList& list, const std::string& name) {
    const auto found = std::ranges::find(list.screens, name, &Screen::name);
    if (found != list.screens.end()) return *found;
    ADD_FAILURE() << "no screen " << name;
    return {};
}

void expectDistinctIdentifiers(const ScreenList& list) {
    std::set<std::uint32_t> identifiers;
    for (const Screen& screen : list.screens) {
        ASSERT_TRUE(screen.displayID) << screen.name;
        EXPECT_TRUE(identifiers.insert(*screen.displayID).second) << screen.name;
    }
}

// --monitors 1280x720+640+0,640x480+0+0: the primary one is not the leftmost.
TEST(SideBySide, standsOnOneGroundLineOnlyWhereTheMonitorsDo) {
    const ScreenList list = currentScreens().list;
    ASSERT_EQ(list.screens.size(), 2U);
    expectDistinctIdentifiers(list);
    const Screen primary = named(list, "monitor0");
    const Screen left = named(list, "monitor1");
    ASSERT_TRUE(list.mainOrFirst());
    EXPECT_EQ(list.mainOrFirst()->name, "monitor0");
    EXPECT_EQ(primary.frame, (Rect{0, 0, 1280, 720}));
    EXPECT_EQ(primary.pixelSize, (Size{1280, 720}));
    // Both begin at the top; the lower one ends 240 points above the primary one's bottom.
    EXPECT_EQ(left.frame, (Rect{-640, 240, 640, 480}));
    EXPECT_EQ(left.pixelSize, (Size{640, 480}));
    EXPECT_EQ(left.backingScaleFactor, 1);
}

// --monitors 800x600+0+600,800x600+0+0: the second above the primary one.
TEST(AboveEachOther, countsUpwards) {
    const ScreenList list = currentScreens().list;
    ASSERT_EQ(list.screens.size(), 2U);
    EXPECT_EQ(named(list, "monitor0").frame, (Rect{0, 0, 800, 600}));
    EXPECT_EQ(named(list, "monitor1").frame, (Rect{0, 600, 800, 600}));
}

// --monitors 1600x1000+0+0,800x600+1600+0 with QT_SCREEN_SCALE_FACTORS=monitor0=2;monitor1=1
TEST(Scaled, keepsPointsAndPixelsApart) {
    const ScreenArrangement arrangement = currentScreens();
    const Screen doubled = named(arrangement.list, "monitor0");
    const Screen plain = named(arrangement.list, "monitor1");
    EXPECT_EQ(doubled.frame, (Rect{0, 0, 800, 500}));
    EXPECT_EQ(doubled.pixelSize, (Size{1600, 1000}));
    EXPECT_EQ(doubled.backingScaleFactor, 2);
    // The toolkit leaves its corner at its place in pixels; its top is level with the other's.
    EXPECT_EQ(plain.frame, (Rect{1600, -100, 800, 600}));
    EXPECT_EQ(plain.pixelSize, (Size{800, 600}));

    // Both flips, against the toolkit's own idea of the second screen.
    for (const QScreen* screen : QGuiApplication::screens()) {
        const Rect frame = toGlobal(QRectF(screen->geometry()), arrangement.space);
        EXPECT_EQ(frame, named(arrangement.list, screen->name().toStdString()).frame);
        EXPECT_EQ(toQt(frame, arrangement.space), QRectF(screen->geometry()));
    }
}

} // namespace
} // namespace quillet

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const QGuiApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
