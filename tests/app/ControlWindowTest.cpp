#include "app/ControlWindow.h"

#include <gtest/gtest.h>

namespace quillet {

void PrintTo(const QRect& rect, std::ostream* out) {
    *out << rect.x() << ' ' << rect.y() << ' ' << rect.width() << 'x' << rect.height();
}

namespace {

struct Frame {
    const char* name;
    QRect frame;
    QRect expected;
};

class OnScreen : public testing::TestWithParam<Frame> {};

// A panel takes 30 points off the main screen's top; the second screen stands to its right, lower down.
TEST_P(OnScreen, bringsBackWhatCannotBeTaken) {
    const std::vector<QRect> screens{{0, 30, 1280, 770}, {1280, 200, 800, 600}};
    const Frame& row = GetParam();
    EXPECT_PRED2([](const QRect& a, const QRect& b) { return a == b; }, onScreen(row.frame, screens), row.expected);
}

INSTANTIATE_TEST_SUITE_P(Table, OnScreen,
                         testing::Values(Frame{"inside", {100, 100, 360, 440}, {100, 100, 360, 440}},
                                         Frame{"onTheSecond", {1400, 250, 360, 440}, {1400, 250, 360, 440}},
                                         Frame{"acrossBoth", {1100, 300, 360, 440}, {1100, 300, 360, 440}},
                                         Frame{
                                             "mostlyToTheLeftButInReach", {-300, 100, 360, 440}, {-300, 100, 360, 440}},
                                         Frame{"outOfReachToTheLeft", {-320, 100, 360, 440}, {0, 100, 360, 440}},
                                         Frame{"titleBarAboveTheTop", {100, -200, 360, 440}, {100, 30, 360, 440}},
                                         Frame{"titleBarBelowTheBottom", {100, 780, 360, 440}, {100, 360, 360, 440}},
                                         Frame{"aMonitorThatIsGone", {2500, 1500, 360, 440}, {1720, 360, 360, 440}},
                                         Frame{"farAway", {-900000, 900000, 360, 440}, {0, 360, 360, 440}},
                                         Frame{"largerThanEverything", {0, 30, 9000, 9000}, {0, 30, 1280, 770}}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(OnScreen, withoutScreensNothingChanges) {
    EXPECT_TRUE(onScreen({5000, 5000, 10, 10}, {}) == QRect(5000, 5000, 10, 10));
}

} // namespace
} // namespace quillet
