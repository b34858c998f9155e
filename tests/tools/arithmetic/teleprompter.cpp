#include "tools/TeleprompterLayout.h"
#include "tools/TeleprompterScroll.h"

#include <gtest/gtest.h>

#include <vector>

namespace quillet {
namespace {

/// How far a long script moves with each of `ticks` ticks.
std::vector<double> stepsAt(double speed, int ticks) {
    TeleprompterScroll scroll;
    scroll.setPlaying(true);
    std::vector<double> steps;
    double y = 0;
    for (int i = 0; i < ticks; ++i) {
        const auto next = scroll.tick({.y = y, .most = 1e9}, speed);
        steps.push_back(next ? *next - y : 0);
        y = next.value_or(y);
    }
    return steps;
}

TEST(TeleprompterScroll, movesOnePointATickAtSixtyPointsASecond) {
    EXPECT_EQ(stepsAt(60, 5), (std::vector<double>{1, 1, 1, 1, 1}));
}

TEST(TeleprompterScroll, alternatesOneAndTwoPointsAtNinety) {
    EXPECT_EQ(stepsAt(90, 6), (std::vector<double>{1, 2, 1, 2, 1, 2}));
}

TEST(TeleprompterScroll, movesFirstWithTheSeventhTickAtTen) {
    // Six times a sixth is a little less than one in binary.
    EXPECT_EQ(stepsAt(10, 8), (std::vector<double>{0, 0, 0, 0, 0, 0, 1, 0}));
}

TEST(TeleprompterScroll, keepsItsSpeedOnAverage) {
    for (const double speed : {10.0, 37.3, 60.0, 130.0, 259.9, 260.0}) {
        double sum = 0;
        for (const double step : stepsAt(speed, 6000)) {
            EXPECT_EQ(step, static_cast<int>(step));
            sum += step;
        }
        EXPECT_NEAR(sum, speed * 100, 1) << speed;
    }
}

TEST(TeleprompterScroll, standsStillWhileItDoesNotPlay) {
    TeleprompterScroll scroll;
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(scroll.tick({.y = 0, .most = 100}, 260), std::nullopt);
    // Nothing was saved up meanwhile.
    scroll.setPlaying(true);
    EXPECT_EQ(scroll.tick({.y = 0, .most = 100}, 60), 1);
}

TEST(TeleprompterScroll, stopsPlayingAtTheEnd) {
    TeleprompterScroll scroll;
    scroll.setPlaying(true);
    EXPECT_EQ(scroll.tick({.y = 97, .most = 100}, 120), 99);
    EXPECT_TRUE(scroll.isPlaying());
    EXPECT_EQ(scroll.tick({.y = 99, .most = 100}, 120), 100);
    EXPECT_FALSE(scroll.isPlaying());
}

TEST(TeleprompterScroll, stopsWhenItReachesTheEndExactly) {
    TeleprompterScroll scroll;
    scroll.setPlaying(true);
    EXPECT_EQ(scroll.tick({.y = 98, .most = 100}, 120), 100);
    EXPECT_FALSE(scroll.isPlaying());
}

TEST(TeleprompterScroll, stopsAShortScriptWithItsFirstMove) {
    TeleprompterScroll scroll;
    scroll.setPlaying(true);
    EXPECT_EQ(scroll.tick({}, 30), std::nullopt);
    EXPECT_TRUE(scroll.isPlaying());
    EXPECT_EQ(scroll.tick({}, 30), 0);
    EXPECT_FALSE(scroll.isPlaying());
}

TEST(TeleprompterScroll, forgetsThePartOfAPointWhenItRestartsAndGoesOnPlaying) {
    TeleprompterScroll scroll;
    scroll.setPlaying(true);
    EXPECT_EQ(scroll.tick({.y = 5, .most = 100}, 45), std::nullopt); // three quarters of a point
    scroll.restart();
    EXPECT_TRUE(scroll.isPlaying());
    EXPECT_EQ(scroll.tick({.y = 0, .most = 100}, 45), std::nullopt);
    EXPECT_EQ(scroll.tick({.y = 0, .most = 100}, 45), 1);
}

TEST(TeleprompterScroll, carriesThePartOfAPointOverAPause) {
    TeleprompterScroll scroll;
    scroll.setPlaying(true);
    EXPECT_EQ(scroll.tick({.y = 0, .most = 100}, 45), std::nullopt);
    scroll.setPlaying(false);
    EXPECT_EQ(scroll.tick({.y = 0, .most = 100}, 45), std::nullopt);
    scroll.setPlaying(true);
    EXPECT_EQ(scroll.tick({.y = 0, .most = 100}, 45), 1);
}

TEST(TeleprompterLayout, setsItsPartsIntoTheFirstWindow) {
    const TeleprompterLayout layout(QSize(460, 320));
    EXPECT_EQ(layout.playButton, QRect(10, 8, 44, 26));
    EXPECT_EQ(layout.topButton, QRect(62, 8, 68, 26));
    EXPECT_EQ(layout.fontSlider, QRect(136, 10, 154, 22));
    EXPECT_EQ(layout.speedSlider, QRect(296, 10, 154, 22));
    EXPECT_EQ(layout.script, QRect(10, 40, 440, 270));
    EXPECT_EQ(layout.grip, QRect(438, 298, 22, 22));
}

TEST(TeleprompterLayout, keepsSlidersAtLeastFortyWide) {
    const TeleprompterLayout least(QSize(260, 160));
    EXPECT_EQ(least.fontSlider, QRect(136, 10, 54, 22));
    EXPECT_EQ(least.speedSlider, QRect(196, 10, 54, 22));
    EXPECT_EQ(least.script, QRect(10, 40, 240, 110));
    const TeleprompterLayout tooNarrow(QSize(200, 160));
    EXPECT_EQ(tooNarrow.fontSlider.width(), 40);
    EXPECT_EQ(tooNarrow.speedSlider.x(), 136 + 40 + 6);
}

TEST(TeleprompterLayout, sharesAnOddPointBetweenTheSliders) {
    const TeleprompterLayout layout(QSize(461, 320)); // 154.5 each
    EXPECT_EQ(layout.speedSlider.x() + layout.speedSlider.width(), 451);
    EXPECT_NEAR(layout.speedSlider.width(), layout.fontSlider.width(), 1);
}

TEST(TeleprompterLayout, standsInTheLowerMiddleOfWhatTheScreenLeaves) {
    EXPECT_EQ(teleprompterFrame({0, 0, 1920, 1080}), (Rect{730, 120, 460, 320}));
    EXPECT_EQ(teleprompterFrame({-1280, 40, 1281, 984}), (Rect{-869.5, 160, 460, 320}));
}

TEST(TeleprompterLayout, followsTheGripFromItsUpperLeftCorner) {
    const Rect start{100, 200, 460, 320}; // its upper edge at 520
    EXPECT_EQ(resizedByGrip(start, 40, -30), (Rect{100, 170, 500, 350}));
    EXPECT_EQ(resizedByGrip(start, -40, 30), (Rect{100, 230, 420, 290}));
    EXPECT_EQ(resizedByGrip(start, -4000, 4000), (Rect{100, 360, 260, 160}));
    EXPECT_EQ(resizedByGrip(start, 0, -9000), (Rect{100, -8800, 460, 9320}));
}

TEST(TeleprompterLayout, rendersSizesEvenFromTheUpperLeftCorner) {
    EXPECT_EQ(withEvenPixels({10, 20, 301, 201}, 1), (Rect{10, 19, 302, 202}));
    EXPECT_EQ(withEvenPixels({10, 20, 300, 200}, 1), (Rect{10, 20, 300, 200}));
    EXPECT_EQ(withEvenPixels({10, 20, 300.5, 200.5}, 2), (Rect{10, 19.5, 301, 201}));
    EXPECT_EQ(withEvenPixels({10, 20, 260, 160}, 1.25), (Rect{10, 20, 326 / 1.25, 160}));
}

} // namespace
} // namespace quillet
