#include "pipeline/AlignedAudioMixer.h"

#include "tests/fakes/SoundDevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <functional>
#include <string>
#include <thread>

namespace quillet {
namespace {

using fakes::HeardSound;
using fakes::SoundDevice;

constexpr double start = 1000;

/// A desk with speakers and a microphone: both play, each at its own pace, and deliver when their sound is over (and
/// the microphone `delay` seconds later).
class Desk {
public:
    SoundDevice speakers{{.sound = [](double) { return fakes::StereoLevel{}; }, .start = start}};
    double delay = 0.005;
    /// What happens to a microphone buffer on its way; nothing returned: it is lost.
    std::function<std::optional<AudioSampleBuffer>(AudioSampleBuffer)> way = [](AudioSampleBuffer buffer) {
        return std::optional(std::move(buffer));
    };

    Desk() {
        mixer->onMixed = [this](AudioSampleBuffer buffer) { heard.add(buffer); };
    }
    void play(SoundDevice* microphone, double until) {
        while (speakers.nextEnd() <= until) {
            if (microphone)
                while (microphone->nextEnd() + delay <= speakers.nextEnd())
                    if (auto buffer = way(microphone->next())) aligned.pushMicrophone(std::move(*buffer));
            aligned.pushSystem(speakers.next());
        }
    }
    /// What was heard since the last call, to save memory.
    HeardSound take() { return std::exchange(heard, {}); }

    std::unique_ptr<AudioMixer> mixer = AudioMixer::make();
    AlignedAudioMixer aligned{*mixer};
    HeardSound heard;
};

/// The largest distance of any click from a whole multiple of the period.
double worstClick(const HeardSound& heard, double period, std::size_t& count, double threshold = 0.2) {
    double worst = 0;
    for (const double at : fakes::onsets(heard, threshold)) {
        worst = std::max(worst, std::abs(at - std::round(at / period) * period));
        ++count;
    }
    return worst;
}

TEST(AlignedAudioMixer, mixesTheMicrophoneWithTheSystemSoundOfTheSameMoment) {
    Desk desk;
    desk.speakers = SoundDevice({.sound = fakes::sine(440, 0.2), .start = start});
    SoundDevice microphone({.sound = fakes::sine(1000, 0.3), .start = start});
    desk.play(&microphone, start + 2);
    desk.aligned.drain();
    EXPECT_TRUE(desk.heard.isContiguous);
    EXPECT_EQ(desk.heard.startSeconds(), start);
    EXPECT_EQ(desk.heard.frames(), 96'000) << "as much comes out as system sound went in";
    const auto both = desk.heard.channel(0, start + 0.5, start + 1.5);
    const auto system = fakes::fitSine(both, 440);
    const auto voice = fakes::fitSine(both, 1000);
    EXPECT_NEAR(system.amplitude, 0.14, 0.001);
    EXPECT_NEAR(voice.amplitude, 0.21, 0.001);
    EXPECT_NEAR(voice.phase, 0, 0.01) << "not a sample late"; // whole turns at the half second
}

TEST(AlignedAudioMixer, systemSoundComesLaterButAtItsTime) {
    Desk desk;
    SoundDevice microphone({.sound = fakes::sine(1000, 0.3), .start = start});
    desk.play(&microphone, start + 1);
    EXPECT_EQ(desk.heard.frames(), 48'000 - AlignedAudioMixer::firstHold);
    desk.aligned.drain();
    EXPECT_EQ(desk.heard.frames(), 48'000);
    EXPECT_EQ(desk.heard.startSeconds(), start);
}

TEST(AlignedAudioMixer, nothingIsHeldWhileTheMicrophoneIsOff) {
    Desk desk;
    desk.mixer->micEnabled = false;
    SoundDevice microphone({.sound = fakes::sine(1000, 0.3), .start = start});
    desk.speakers = SoundDevice({.sound = fakes::sine(440, 0.2), .start = start});
    desk.play(&microphone, start + 0.5);
    EXPECT_EQ(desk.heard.frames(), 24'000);
    EXPECT_LT(fakes::fitSine(desk.heard.channel(0, start, start + 0.5), 440).residualPeak, 1e-4);
}

struct Clocks {
    const char* name;
    double speakers; // millionths
    double microphone;
    double jitter;
    AudioFormat format = commonAudioFormat;
    std::int64_t frames = 512;
};
class HalfAnHour : public ::testing::TestWithParam<Clocks> {};

TEST_P(HalfAnHour, leavesBothSoundsInTimeWithThePicture) {
    // System sound comes as its source promises: placed by its times already. Here its own timeline does that.
    const Clocks& clocks = GetParam();
    std::unique_ptr<AudioMixer> mixer = AudioMixer::make();
    AlignedAudioMixer aligned(*mixer);
    HeardSound heard;
    mixer->onMixed = [&](AudioSampleBuffer buffer) { heard.add(buffer); };
    SoundTimeline systemTimeline;
    SoundDevice speakers({.sound =
                              [](double seconds) {
                                  return fakes::StereoLevel{fakes::clicks(5, 0.6)(seconds).left, 0};
                              },
                          .format = {SampleType::int16, 8000, 2}, // quickly simulated
                          .start = start,
                          .clockMillionths = clocks.speakers,
                          .jitterSeconds = clocks.jitter,
                          .frames = 171,
                          .seed = 3});
    SoundDevice microphone({.sound =
                                [](double seconds) {
                                    // Half a second after the speakers' clicks, so that they are told apart.
                                    const double level = fakes::clicks(5, 0.6)(seconds - 0.5).left;
                                    return fakes::StereoLevel{level, level};
                                },
                            .format = clocks.format,
                            .start = start + 0.003,
                            .clockMillionths = clocks.microphone,
                            .jitterSeconds = clocks.jitter,
                            .frames = clocks.frames});
    double worst = 0;
    std::size_t count = 0;
    for (double from = start; from < start + 1800; from += 60) {
        while (speakers.nextEnd() < from + 60) {
            while (microphone.nextEnd() < speakers.nextEnd())
                aligned.pushMicrophone(microphone.next());
            AudioSampleBuffer placed = systemTimeline.place(speakers.next());
            if (placed.frames > 0) aligned.pushSystem(std::move(placed));
        }
        ASSERT_TRUE(heard.isContiguous);
        worst = std::max(worst, worstClick(std::exchange(heard, {}), 0.5, count));
    }
    EXPECT_NEAR(static_cast<double>(count), 720, 2);
    EXPECT_LT(worst, 0.006) << "of the 20 ms that the ear forgives";
    EXPECT_EQ(aligned.hold(), AlignedAudioMixer::firstHold);
    RecordProperty("worstMicroseconds", static_cast<int>(worst * 1e6));
}

INSTANTIATE_TEST_SUITE_P(Table, HalfAnHour,
                         ::testing::Values(Clocks{"slowAndFastHeadset", -200, 200, 0.004,
                                                  AudioFormat{SampleType::int16, 8000, 1}, 160}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(AlignedAudioMixer, aLostBufferIsSilenceAndShiftsNothing) {
    Desk desk;
    SoundDevice microphone({.sound = fakes::sine(1000, 0.3), .start = start});
    int number = 0;
    desk.way = [&](AudioSampleBuffer buffer) -> std::optional<AudioSampleBuffer> {
        const bool isLost = ++number >= 100 && number < 110; // 100 ms
        return isLost ? std::nullopt : std::optional(std::move(buffer));
    };
    desk.play(&microphone, start + 3);
    desk.aligned.drain();
    EXPECT_TRUE(desk.heard.isContiguous);
    for (const float sample : desk.heard.channel(0, start + 0.997, start + 1.089))
        ASSERT_EQ(sample, 0);
    const auto after = fakes::fitSine(desk.heard.channel(0, start + 1.5, start + 2.9), 1000);
    EXPECT_NEAR(after.amplitude, 0.21, 0.001);
    EXPECT_NEAR(after.phase, 0, 0.02);
}

TEST(AlignedAudioMixer, buffersInBurstsAreNoMatter) {
    Desk desk;
    SoundDevice microphone({.sound = fakes::clicks(0.25, 0.5), .start = start});
    std::deque<AudioSampleBuffer> kept;
    desk.way = [&](AudioSampleBuffer buffer) -> std::optional<AudioSampleBuffer> {
        kept.push_back(std::move(buffer));
        if (kept.size() < 9) return std::nullopt;
        for (; kept.size() > 1; kept.pop_front())
            desk.aligned.pushMicrophone(kept.front());
        AudioSampleBuffer last = kept.front();
        kept.clear();
        return last;
    };
    desk.play(&microphone, start + 5);
    std::size_t count = 0;
    EXPECT_LT(worstClick(desk.heard, 0.25, count), 0.0005);
    EXPECT_GE(count, 18U);
    EXPECT_EQ(desk.aligned.hold(), AlignedAudioMixer::firstHold);
}

TEST(AlignedAudioMixer, aMicrophoneThatComesLateIsWaitedFor) {
    Desk desk;
    desk.delay = 0.4; // a radio link, which says when the sound was heard
    SoundDevice microphone({.sound = fakes::clicks(0.25, 0.5), .start = start});
    desk.play(&microphone, start + 10);
    desk.aligned.drain();
    EXPECT_TRUE(desk.heard.isContiguous);
    EXPECT_EQ(desk.heard.frames(), 480'000);
    std::size_t count = 0;
    EXPECT_LT(worstClick(desk.heard, 0.25, count), 0.0005);
    EXPECT_GE(count, 34U) << "all but those of the first moments";
    EXPECT_GT(desk.aligned.hold(), 0.4 * 48000);
    EXPECT_LE(desk.aligned.hold(), AlignedAudioMixer::longestHold);
}

TEST(AlignedAudioMixer, soundFromBeforeTheFirstSystemSoundIsNotTakenForLate) {
    Desk desk;
    // The microphone has been listening for three seconds; before that it had a time that cannot be.
    SoundDevice microphone({.sound = fakes::clicks(0.25, 0.5), .start = start - 3});
    AudioSampleBuffer strange = SoundDevice({.sound = fakes::sine(1000, 0.5)}).next();
    strange.presentationTime = {7'000'000, 1};
    desk.aligned.pushMicrophone(strange);
    while (microphone.nextEnd() < start)
        desk.aligned.pushMicrophone(microphone.next());
    desk.play(&microphone, start + 3);
    std::size_t count = 0;
    EXPECT_LT(worstClick(desk.heard, 0.25, count), 0.0005);
    EXPECT_EQ(count, 12U) << "from the system's first moment on";
    EXPECT_EQ(desk.aligned.hold(), AlignedAudioMixer::firstHold);
}

struct Shift {
    const char* name;
    double seconds;
    double allowed; // how far off the clicks may then be
};
class WrongTimes : public ::testing::TestWithParam<Shift> {};

TEST_P(WrongTimes, doNotSilenceTheMicrophone) {
    Desk desk;
    SoundDevice microphone({.sound = fakes::clicks(0.25, 0.5), .start = start});
    desk.way = [&](AudioSampleBuffer buffer) -> std::optional<AudioSampleBuffer> {
        if (microphone.now() > start + 2)
            buffer.presentationTime =
                buffer.presentationTime + MediaTime{std::llround(GetParam().seconds * liveTimescale), liveTimescale};
        return buffer;
    };
    desk.play(&microphone, start + 8);
    const HeardSound before = desk.take();
    desk.play(&microphone, start + 16);
    EXPECT_TRUE(before.isContiguous && desk.heard.isContiguous);
    std::size_t count = 0;
    EXPECT_LE(worstClick(desk.heard, 0.25, count), GetParam().allowed);
    EXPECT_NEAR(static_cast<double>(count), 32, 1) << "every click of the eight seconds is heard";
}

INSTANTIATE_TEST_SUITE_P(Table, WrongTimes,
                         ::testing::Values(Shift{"anHourBack", -3600, 0.02}, Shift{"anHourAhead", 3600, 0.02},
                                           Shift{"sinceNineteenSeventy", 1.7e9, 0.02},
                                           Shift{"aQuarterBack", -0.25, 0.002}, Shift{"aQuarterAhead", 0.25, 0.002}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(AlignedAudioMixer, aMicrophoneUnpluggedAndPluggedBackStaysInTime) {
    Desk desk;
    desk.speakers = SoundDevice({.sound = fakes::sine(100, 0.05), .start = start});
    SoundDevice first({.sound = fakes::clicks(0.25, 0.5), .start = start + 0.1, .clockMillionths = 150});
    desk.play(&first, start + 3);
    desk.play(nullptr, start + 5); // two seconds without
    SoundDevice second({.sound = fakes::clicks(0.25, 0.5),
                        .format = {SampleType::int24in32, 44100, 2, SampleLayout::planar},
                        .start = start + 5.02,
                        .clockMillionths = -150,
                        .frames = 700});
    desk.play(&second, start + 8);
    desk.aligned.drain();
    EXPECT_TRUE(desk.heard.isContiguous);
    EXPECT_EQ(desk.heard.frames(), 8 * 48000) << "the system's sound goes on without it";
    std::size_t count = 0;
    EXPECT_LT(worstClick(desk.heard, 0.25, count), 0.0008);
    EXPECT_GE(count, 22U);
}

TEST(AlignedAudioMixer, longSystemBuffersKeepAllOfTheMicrophone) {
    Desk desk;
    desk.speakers = SoundDevice({.sound = fakes::sine(440, 0.1), .start = start, .frames = 30'011});
    SoundDevice microphone({.sound = fakes::sine(1000, 0.3), .start = start});
    desk.play(&microphone, start + 5);
    desk.aligned.drain();
    EXPECT_TRUE(desk.heard.isContiguous);
    const auto voice = fakes::fitSine(desk.heard.channel(1, start + 1, start + 4), 1000);
    EXPECT_NEAR(voice.amplitude, 0.21, 0.001);
    EXPECT_NEAR(voice.phase, 0, 0.01);
}

TEST(AlignedAudioMixer, roundedTimesOfTheSystemSoundTearNothing) {
    Desk desk;
    // 441 frames at 48 kHz are 9187.5 microseconds: every other time is rounded.
    desk.speakers = SoundDevice({.sound = [](double) { return fakes::StereoLevel{}; }, .start = start, .frames = 441});
    SoundDevice microphone({.sound = fakes::sine(1000, 0.3), .start = start});
    desk.play(&microphone, start + 3);
    const auto voice = fakes::fitSine(desk.heard.channel(0, start + 0.1, start + 2.5), 1000);
    EXPECT_LT(voice.residualPeak, 0.001);
}

TEST(AlignedAudioMixer, systemSoundOfBrokenTimesIsDropped) {
    Desk desk;
    desk.aligned.pushSystem({commonAudioFormat, 10, {INT64_MAX, 1}, std::vector<std::byte>(80)});
    desk.aligned.pushSystem({});
    desk.aligned.pushMicrophone({commonAudioFormat, 10, {INT64_MIN, 1}, std::vector<std::byte>(80)});
    SoundDevice microphone({.sound = fakes::sine(1000, 0.3), .start = start});
    desk.play(&microphone, start + 1);
    desk.aligned.drain();
    EXPECT_EQ(desk.heard.frames(), 48'000);
}

TEST(AlignedAudioMixer, systemSoundThatLeapsAheadAndBackTakesTheMicrophoneAlong) {
    Desk desk;
    SoundDevice microphone({.sound = fakes::clicks(0.25, 0.5), .start = start});
    desk.play(&microphone, start + 2);
    AudioSampleBuffer tomorrow = desk.speakers.next();
    tomorrow.presentationTime = {static_cast<std::int64_t>(start) + 86'400, 1};
    desk.aligned.pushSystem(tomorrow);
    desk.play(&microphone, start + 3);
    static_cast<void>(desk.take());
    desk.play(&microphone, start + 6);
    std::size_t count = 0;
    EXPECT_LT(worstClick(desk.heard, 0.25, count), 0.001);
    EXPECT_GE(count, 11U);
}

TEST(AlignedAudioMixer, bothSourcesMayPushAtOnce) {
    Desk desk;
    SoundDevice microphone({.sound = fakes::sine(1000, 0.3), .start = start});
    std::thread other([&] {
        for (int i = 0; i < 300; ++i)
            desk.aligned.pushMicrophone(microphone.next());
    });
    desk.play(nullptr, start + 3);
    other.join();
    desk.aligned.drain();
    EXPECT_EQ(desk.heard.frames(), 3 * 48000);
}

} // namespace
} // namespace quillet
