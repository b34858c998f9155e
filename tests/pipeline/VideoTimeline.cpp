#include "pipeline/encode/VideoTimeline.h"

#include <gtest/gtest.h>

#include <vector>

namespace quillet {
namespace {

struct ScaleCase {
    const char* name;
    MediaTime start;
    int fps;
    std::int32_t expected;
};
class TrackTimescale : public testing::TestWithParam<ScaleCase> {};

TEST_P(TrackTimescale, isFineAndKeepsTheStartExact) {
    const VideoTimeline timeline(GetParam().start, GetParam().fps);
    EXPECT_EQ(timeline.timescale(), GetParam().expected);
    EXPECT_EQ(timeline.ticksAt(GetParam().start), 0);
}

INSTANTIATE_TEST_SUITE_P(Table, TrackTimescale,
                         testing::Values(ScaleCase{"sixtieths", {7, 60}, 60, 60'000},
                                         ScaleCase{"microseconds", {123'456'789, 1'000'000}, 60, 1'000'000},
                                         ScaleCase{"seconds", {3, 1}, 60, 60'000},
                                         ScaleCase{"sixHundredths", {5, 600}, 25, 600'000},
                                         ScaleCase{"ntsc", {1001, 30000}, 30, 30'000},
                                         ScaleCase{"primes", {1, 997}, 991, 988'027}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(VideoTimeline, exactFrameRatesHaveExactKeyFrames) {
    for (const int fps : {1, 24, 25, 30, 60, 144, 240}) {
        VideoTimeline timeline({0, fps}, fps);
        for (int i = 0; i < 10 * fps; ++i) {
            const auto frame = timeline.addFrame({i, fps});
            ASSERT_TRUE(frame);
            ASSERT_EQ(frame->isKey, i % (2 * fps) == 0) << fps << " " << i;
            ASSERT_EQ(frame->keyRepeats, 0);
        }
    }
}

TEST(VideoTimeline, keyFramesAreNeverMoreThanTwoSecondsApart) {
    VideoTimeline timeline({0, 1'000'000}, 60);
    std::int64_t lastKey = 0;
    std::int64_t time = 0;
    for (std::int64_t i = 0; i < 5000; ++i) {
        const auto frame = timeline.addFrame({time, 1'000'000});
        ASSERT_TRUE(frame);
        for (std::int64_t k = 0; k < frame->keyRepeats; ++k) {
            ASSERT_EQ(frame->firstKeyRepeat + k * timeline.keyDistance(), lastKey + timeline.keyDistance());
            lastKey += timeline.keyDistance();
        }
        ASSERT_LE(time - lastKey, timeline.keyDistance());
        if (frame->isKey) lastKey = time;
        time += i % 50 == 0 ? 1'999'999 + i * 1000 : 16'667 + i % 7;
    }
}

TEST(VideoTimeline, aFrameThatFallsOnTheTwoSecondsIsTheKeyFrameItself) {
    VideoTimeline timeline({0, 1000}, 60);
    static_cast<void>(timeline.addFrame({0, 1000}));
    const auto frame = timeline.addFrame({4000, 1000});
    ASSERT_TRUE(frame);
    EXPECT_TRUE(frame->isKey);
    EXPECT_EQ(frame->keyRepeats, 1);
    EXPECT_EQ(frame->firstKeyRepeat, 2000);
}

TEST(VideoTimeline, repeatsLeaveATenthOfASecondToLateFrames) {
    VideoTimeline timeline({0, 1000}, 60);
    EXPECT_FALSE(timeline.addRepeat({5, 1})); // nothing to repeat yet
    static_cast<void>(timeline.addFrame({0, 1000}));
    EXPECT_FALSE(timeline.addRepeat({1099, 1000}));
    const auto repeat = timeline.addRepeat({1100, 1000});
    ASSERT_TRUE(repeat);
    EXPECT_EQ(repeat->ticks, 1000);
    EXPECT_FALSE(repeat->isKey);
    EXPECT_FALSE(timeline.addRepeat({1100, 1000}));
    EXPECT_FALSE(timeline.addFrame({1000, 1000}));
    EXPECT_TRUE(timeline.addFrame({1001, 1000}));
    const auto key = timeline.addRepeat({2100, 1000});
    ASSERT_TRUE(key);
    EXPECT_EQ(key->ticks, 2000);
    EXPECT_TRUE(key->isKey);
}

} // namespace
} // namespace quillet
