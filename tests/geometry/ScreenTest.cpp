#include "geometry/Screen.h"

#include <gtest/gtest.h>

namespace quillet {
namespace {

Screen named(const char* name, Rect frame) {
    return {.name = name, .frame = frame, .visibleFrame = frame, .displayID = 1, .pixelSize = frame.size()};
}

std::string holder(const ScreenList& list, const Rect& frame) {
    const Screen* screen = list.holding(frame);
    return screen ? screen->name : "none";
}

TEST(Screen, holdsTheWindowsThatAreMostlyOnIt) {
    const ScreenList list{.screens = {named("left", {-1000, 0, 1000, 800}), named("right", {0, 0, 1000, 800})},
                          .mainIndex = 1};
    EXPECT_EQ(holder(list, {-300, 100, 200, 200}), "left");
    EXPECT_EQ(holder(list, {-120, 100, 200, 200}), "left");
    EXPECT_EQ(holder(list, {-80, 100, 200, 200}), "right");
    EXPECT_EQ(holder(list, {-100, 100, 200, 200}), "left") << "the first of equals";
    EXPECT_EQ(holder(list, {-150, -190, 200, 200}), "left") << "by what is on it, be it little";
    EXPECT_EQ(holder(list, {-500, 5000, 200, 200}), "right") << "the main one when it is on none";
    EXPECT_EQ(holder({}, {0, 0, 10, 10}), "none");
}

TEST(Screen, measuresItsScaleByItsWidths) {
    Screen screen = named("A", {0, 0, 1000, 500});
    screen.pixelSize = {1500, 1500};
    screen.backingScaleFactor = 2;
    EXPECT_EQ(screen.scale(), 1.5);
    screen.frame.width = 0;
    EXPECT_EQ(screen.scale(), 2);
}

} // namespace
} // namespace quillet
