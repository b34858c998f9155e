#include "pipeline/SoundTimeline.h"

#include "tests/fakes/SoundDevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

namespace quillet {
namespace {

using fakes::HeardSound;
using fakes::SoundDevice;

constexpr double start = 1000; // where the devices begin

/// Plays the device until a moment.
void playUntil(SoundDevice& device, SoundTimeline& timeline, HeardSound& heard, double until) {
    while (device.now() < until)
        heard.add(timeline.place(device.next()));
}

TEST(SoundTimeline, aSteadyDeviceIsHeardAsItIs) {
    SoundTimeline timeline;
    SoundDevice device({.sound = fakes::sine(1000, 0.5)});
    HeardSound heard;
    playUntil(device, timeline, heard, start + 3);
    EXPECT_TRUE(heard.isContiguous);
    EXPECT_EQ(heard.startSeconds(), start);
    const auto fit = fakes::fitSine(heard.channel(0, start + 0.01, start + 2.9), 1000);
    EXPECT_NEAR(fit.amplitude, 0.5, 1e-3);
    EXPECT_LT(fit.residualPeak, 1e-3);
    EXPECT_NEAR(std::remainder(fit.phase - 2 * M_PI * 10, 2 * M_PI), 0, 0.01) << "not a sample late";
}

struct Clock {
    const char* name;
    double millionths;
    double jitter;
    std::int64_t frames;
    AudioFormat format = commonAudioFormat;
};

class DriftingClocks : public ::testing::TestWithParam<Clock> {};

// Half an hour: the click of each fifth second stands at its time, from the first to the last.
TEST_P(DriftingClocks, stayOnThePicturesClockForHalfAnHour) {
    const Clock& clock = GetParam();
    SoundTimeline timeline;
    SoundDevice device({.sound = fakes::clicks(5, 0.8),
                        .format = clock.format,
                        .start = start,
                        .clockMillionths = clock.millionths,
                        .jitterSeconds = clock.jitter,
                        .frames = clock.frames});
    double earliest = 0;
    double latest = 0;
    std::size_t count = 0;
    for (double from = start; from < start + 1800; from += 60) {
        HeardSound minute; // kept by the minute, to save memory
        playUntil(device, timeline, minute, from + 60 + 0.02);
        EXPECT_TRUE(minute.isContiguous);
        for (const double at : fakes::onsets(minute, 0.4)) {
            const double off = at - std::round(at / 5) * 5;
            earliest = std::min(earliest, off);
            latest = std::max(latest, off);
            ++count;
        }
    }
    EXPECT_GE(count, 359U);
    EXPECT_LE(count, 361U);
    // The first click stands at its own buffer's time, jitter and all; the loop then finds the middle.
    EXPECT_GE(earliest, -clock.jitter - 0.0015);
    EXPECT_LE(latest, clock.jitter + 0.0015);
    // What comes too fast is to be shortened. Jitter leaves a little unrest.
    EXPECT_NEAR(timeline.driftMillionths(), -clock.millionths, clock.jitter > 0 ? 120 : 2);
    RecordProperty("earliestMicroseconds", static_cast<int>(earliest * 1e6));
    RecordProperty("latestMicroseconds", static_cast<int>(latest * 1e6));
}

INSTANTIATE_TEST_SUITE_P(Table, DriftingClocks,
                         ::testing::Values(Clock{"fast", 200, 0, 480}, Clock{"headsetSlowWithJitter", -200, 0.004, 160,
                                                                             AudioFormat{SampleType::int16, 16000, 1}}),
                         [](const auto& row) { return std::string(row.param.name); });

class DriftingTones : public ::testing::TestWithParam<Clock> {};

TEST_P(DriftingTones, keepTheirPitchAndHaveNoClicks) {
    const Clock& clock = GetParam();
    SoundTimeline timeline;
    SoundDevice device({.sound = fakes::sine(1000, 0.5),
                        .start = start,
                        .clockMillionths = clock.millionths,
                        .jitterSeconds = clock.jitter,
                        .frames = clock.frames});
    HeardSound heard;
    playUntil(device, timeline, heard, start + 50);
    ASSERT_TRUE(heard.isContiguous);
    // Every twentieth of a second from the first on: a sine and nothing else, of a pitch that the ear takes for 1 kHz.
    double worst = 0;
    for (double from = start + 0.01; from + 0.1 < start + 49; from += 0.05) {
        const auto stretch = heard.channel(0, from, from + 0.05);
        const double hertz = fakes::frequencyOf(stretch, 1000);
        ASSERT_NEAR(hertz, 1000, 1.0) << from;
        worst = std::max(worst, fakes::fitSine(stretch, hertz).residualPeak);
    }
    EXPECT_LT(worst, 0.5 * 0.003) << "50 dB below the tone";
    const auto settled = heard.channel(0, start + 35, start + 49);
    EXPECT_NEAR(fakes::frequencyOf(settled, 1000), 1000, 0.1);
}

INSTANTIATE_TEST_SUITE_P(Table, DriftingTones,
                         ::testing::Values(Clock{"fast", 200, 0, 480}, Clock{"slowWithJitter", -200, 0.004, 512},
                                           Clock{"fastWithJitterInSmallBuffers", 200, 0.004, 128}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(SoundTimeline, lostSoundBecomesSilenceOfTheSameLength) {
    SoundTimeline timeline;
    SoundDevice device({.sound = fakes::sine(1000, 0.5)});
    HeardSound heard;
    playUntil(device, timeline, heard, start + 1);
    device.lose(4800);
    playUntil(device, timeline, heard, start + 2);
    EXPECT_TRUE(heard.isContiguous);
    EXPECT_NEAR(static_cast<double>(heard.frames()), 96'000, 20);
    for (const float sample : heard.channel(0, start + 1.006, start + 1.099))
        ASSERT_EQ(sample, 0);
    const auto after = fakes::fitSine(heard.channel(0, start + 1.11, start + 1.95), 1000);
    EXPECT_NEAR(std::remainder(after.phase - 2 * M_PI * 110, 2 * M_PI), 0, 0.02) << "the sound after it is in time";
}

TEST(SoundTimeline, soundHeardTwiceIsLeftOut) {
    SoundTimeline timeline;
    SoundDevice device({.sound = fakes::sine(1000, 0.5)});
    HeardSound heard;
    playUntil(device, timeline, heard, start + 1);
    device.lose(-2400); // 50 ms again
    playUntil(device, timeline, heard, start + 2);
    EXPECT_TRUE(heard.isContiguous);
    EXPECT_NEAR(static_cast<double>(heard.frames()), 96'000, 20);
    const auto after = fakes::fitSine(heard.channel(0, start + 1.02, start + 1.95), 1000);
    EXPECT_NEAR(std::remainder(after.phase - 2 * M_PI * 20, 2 * M_PI), 0, 0.02);
    EXPECT_LT(after.residualPeak, 1e-3);
}

/// The energy beyond 5 kHz in a stretch, against that of the whole: what a click has and a fading tone has not.
double harshness(const std::vector<float>& samples) {
    double high = 0;
    double all = 0;
    for (std::size_t i = 2; i < samples.size(); ++i) {
        const double second = static_cast<double>(samples[i]) - 2 * static_cast<double>(samples[i - 1]) +
                              static_cast<double>(samples[i - 2]);
        high = std::max(high, std::abs(second));
        all = std::max(all, std::abs(static_cast<double>(samples[i])));
    }
    return high / all;
}

TEST(SoundTimeline, cutsAndJoinsWithoutAClick) {
    SoundTimeline timeline;
    SoundDevice device({.sound = fakes::sine(200, 0.5)});
    HeardSound heard;
    playUntil(device, timeline, heard, start + 1.0037); // somewhere on the wave
    device.lose(1800);
    playUntil(device, timeline, heard, start + 2.0011);
    device.lose(-1234);
    playUntil(device, timeline, heard, start + 3);
    heard.add(timeline.fillUntil({static_cast<std::int64_t>(start) + 4, 1}));
    device.lose(48'000 + 77);
    playUntil(device, timeline, heard, start + 5);
    ASSERT_TRUE(heard.isContiguous);
    // A tone's own second difference is (2 pi f / rate)^2 = 0.0007; a jump of the size of its level would be 1.
    EXPECT_LT(harshness(heard.channel(0, start + 0.1, start + 4.9)), 0.06);
}

TEST(SoundTimeline, fillsWithSilenceWhereNothingComes) {
    SoundTimeline timeline;
    EXPECT_EQ(timeline.fillUntil({1000, 1}).frames, 0) << "nothing came before: the stream begins there";
    HeardSound heard;
    heard.add(timeline.fillUntil(MediaTime{1000, 1} + MediaTime{1, 2}));
    EXPECT_EQ(heard.frames(), 24'000);
    EXPECT_EQ(timeline.fillUntil({1000, 1}).frames, 0) << "that is past";
    SoundDevice device({.sound = fakes::sine(1000, 0.5), .start = 1000.75});
    playUntil(device, timeline, heard, 1001.5);
    EXPECT_TRUE(heard.isContiguous);
    for (const float sample : heard.channel(0, 1000, 1000.7499))
        ASSERT_EQ(sample, 0);
    EXPECT_NEAR(fakes::fitSine(heard.channel(0, 1000.76, 1001.4), 1000).amplitude, 0.5, 1e-3);
}

TEST(SoundTimeline, afterAFillTheNextSoundStandsExactly) {
    SoundTimeline timeline;
    SoundDevice device({.sound = fakes::clicks(1, 0.8)});
    HeardSound heard;
    playUntil(device, timeline, heard, start + 0.98);
    // The filler was five milliseconds too eager.
    heard.add(timeline.fillUntil({static_cast<std::int64_t>((start + 0.985) * 1000), 1000}));
    playUntil(device, timeline, heard, start + 1.5);
    EXPECT_TRUE(heard.isContiguous);
    const auto heardClicks = fakes::onsets(heard, 0.4);
    ASSERT_EQ(heardClicks.size(), 1U); // the very first one faded in
    EXPECT_NEAR(heardClicks[0], start + 1, 0.0001);
}

struct Jump {
    const char* name;
    double seconds;
};
class Jumps : public ::testing::TestWithParam<Jump> {};

TEST_P(Jumps, ofTheTimesLeaveTheStreamUnbrokenAndNeverTurnItBack) {
    SoundTimeline timeline;
    SoundDevice device({.sound = fakes::sine(1000, 0.5)});
    HeardSound heard;
    playUntil(device, timeline, heard, start + 1);
    for (int i = 0; i < 5; ++i) {
        AudioSampleBuffer strange = device.next();
        strange.presentationTime =
            strange.presentationTime + MediaTime{std::llround(GetParam().seconds * liveTimescale), liveTimescale};
        const AudioSampleBuffer stretch = timeline.place(strange);
        EXPECT_LE(stretch.frames, SoundTimeline::longestGapFrames + 480);
        heard.add(stretch);
    }
    playUntil(device, timeline, heard, start + 3 + std::abs(GetParam().seconds));
    EXPECT_EQ(heard.isContiguous, GetParam().seconds < 10) << "a very long gap is stepped over";
    const double end = timeline.end().seconds();
    EXPECT_NEAR(end, device.now(), 0.001);
    if (!heard.isContiguous) return;
    const double from = end - 1;
    const auto fit = fakes::fitSine(heard.channel(0, from, end - 0.01), 1000);
    EXPECT_NEAR(fit.amplitude, 0.5, 1e-3);
    EXPECT_NEAR(std::remainder(fit.phase - 2 * M_PI * 1000 * std::fmod(from, 1.0), 2 * M_PI), 0, 0.6)
        << "a tenth of a millisecond";
}

INSTANTIATE_TEST_SUITE_P(Table, Jumps,
                         ::testing::Values(Jump{"slightlyBack", -0.01}, Jump{"back", -0.5}, Jump{"farBack", -60},
                                           Jump{"slightlyAhead", 0.01}, Jump{"ahead", 0.5}, Jump{"farAhead", 20}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(SoundTimeline, anotherFormatInMidStreamGoesOnInTime) {
    SoundTimeline timeline;
    SoundDevice wide({.sound = fakes::clicks(1, 0.8)});
    HeardSound heard;
    playUntil(wide, timeline, heard, start + 1.5);
    SoundDevice headset({.sound = fakes::clicks(1, 0.8),
                         .format = {SampleType::int16, 16000, 1},
                         .start = start + 1.53,
                         .clockMillionths = -150,
                         .frames = 160});
    playUntil(headset, timeline, heard, start + 3.5);
    SoundDevice planar({.sound = fakes::clicks(1, 0.8),
                        .format = {SampleType::float32, 44100, 2, SampleLayout::planar},
                        .start = start + 3.47, // an overlap, cut in a planar buffer
                        .frames = 441});
    playUntil(planar, timeline, heard, start + 5.5);
    EXPECT_TRUE(heard.isContiguous);
    const auto heardClicks = fakes::onsets(heard, 0.3);
    ASSERT_EQ(heardClicks.size(), 5U);
    for (std::size_t i = 0; i < heardClicks.size(); ++i)
        EXPECT_NEAR(heardClicks[i], start + static_cast<double>(i) + 1, 0.0005);
}

TEST(SoundTimeline, whatCannotBeUnderstoodChangesNothing) {
    SoundTimeline timeline;
    EXPECT_EQ(timeline.place({}).frames, 0);
    EXPECT_FALSE(timeline.hasBegun());
    SoundDevice device({.sound = fakes::sine(1000, 0.5)});
    HeardSound heard;
    playUntil(device, timeline, heard, start + 1);
    for (const AudioFormat& format :
         {AudioFormat{SampleType::int16, 0, 2}, AudioFormat{SampleType::int16, 48000, 0}, commonAudioFormat})
        heard.add(timeline.place({format, 480, {1001, 1}, std::vector<std::byte>(7)}));
    playUntil(device, timeline, heard, start + 2);
    const auto fit = fakes::fitSine(heard.channel(0, start + 0.1, start + 1.9), 1000);
    EXPECT_LT(fit.residualPeak, 1e-3);
}

TEST(SoundTimeline, samplesThatAreNoNumbersAreGoneWithTheirBuffer) {
    SoundTimeline timeline;
    SoundDevice device({.sound = fakes::sine(1000, 0.5)});
    HeardSound heard;
    playUntil(device, timeline, heard, start + 1);
    AudioSampleBuffer broken = device.next();
    for (float& sample : commonSamples(broken))
        sample = std::nanf("");
    heard.add(timeline.place(broken));
    playUntil(device, timeline, heard, start + 2);
    EXPECT_TRUE(std::all_of(heard.samples.begin(), heard.samples.end(), [](float x) { return std::isfinite(x); }));
    EXPECT_LT(fakes::fitSine(heard.channel(0, start + 1.02, start + 1.9), 1000).residualPeak, 1e-3);
}

} // namespace
} // namespace quillet
