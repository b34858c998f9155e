#include "pipeline/AudioMixer.h"

#include "tests/fakes/SoundDevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

namespace quillet {
namespace {

/// Frames of one level each: left `level(i)`, right its negative.
AudioSampleBuffer levels(std::int64_t frames, const std::function<double(std::int64_t)>& level, MediaTime time = {}) {
    AudioSampleBuffer buffer = commonSilence(frames, time);
    const auto samples = commonSamples(buffer);
    for (std::int64_t i = 0; i < frames; ++i) {
        samples[static_cast<std::size_t>(2 * i)] = static_cast<float>(level(i));
        samples[static_cast<std::size_t>(2 * i) + 1] = static_cast<float>(-level(i));
    }
    return buffer;
}

class AudioMixerTest : public ::testing::Test {
protected:
    AudioMixerTest() {
        mixer->onMixed = [this](AudioSampleBuffer buffer) { mixed.push_back(std::move(buffer)); };
    }
    [[nodiscard]] float left(std::size_t buffer, std::int64_t frame) const {
        return commonSamples(mixed.at(buffer))[static_cast<std::size_t>(2 * frame)];
    }
    [[nodiscard]] float right(std::size_t buffer, std::int64_t frame) const {
        return commonSamples(mixed.at(buffer))[static_cast<std::size_t>(2 * frame) + 1];
    }

    std::unique_ptr<AudioMixer> mixer = AudioMixer::make();
    std::vector<AudioSampleBuffer> mixed;
};

TEST_F(AudioMixerTest, addsTheWaitingFramesAndLeavesTheRestAlone) {
    mixer->pushMicrophone(levels(300, [](auto i) { return 0.001 * static_cast<double>(i); }));
    const MediaTime time{123'456'789, liveTimescale};
    mixer->pushSystem(levels(
        1024, [](auto) { return 0.1; }, time));
    mixer->pushSystem(levels(10, [](auto) { return 0.1; }));
    ASSERT_EQ(mixed.size(), 2U);
    EXPECT_EQ(mixed[0].format, commonAudioFormat);
    EXPECT_EQ(mixed[0].frames, 1024);
    EXPECT_EQ(mixed[0].presentationTime, time);
    for (std::int64_t i = 0; i < 1024; ++i) {
        const double sum = 0.1 + (i < 300 ? 0.001 * static_cast<double>(i) : 0);
        ASSERT_NEAR(left(0, i), 0.7 * sum, 1e-6) << i;
        ASSERT_NEAR(right(0, i), -0.7 * sum, 1e-6) << i;
    }
    EXPECT_NEAR(left(1, 0), 0.07, 1e-6) << "the ring is empty";
}

TEST_F(AudioMixerTest, whatHasWaitedTooLongIsDropped) {
    mixer->pushMicrophone(levels(20'000, [](auto i) { return 1e-5 * static_cast<double>(i); }));
    mixer->pushSystem(levels(12'100, [](auto) { return 0.0; }));
    ASSERT_EQ(mixed.size(), 1U);
    EXPECT_NEAR(left(0, 0), 0.7 * 0.08, 1e-6) << "the oldest 8000 are gone";
    EXPECT_NEAR(left(0, 11'999), 0.7 * 0.19999, 1e-6);
    EXPECT_EQ(left(0, 12'000), 0);
}

TEST_F(AudioMixerTest, exactlyTheBacklogIsKept) {
    mixer->pushMicrophone(levels(12'000, [](auto i) { return 1e-5 * static_cast<double>(i + 1); }));
    mixer->pushSystem(levels(1, [](auto) { return 0.0; }));
    EXPECT_NEAR(left(0, 0), 0.7e-5, 1e-9);
}

TEST_F(AudioMixerTest, theRingKeepsTheNewestSecond) {
    // 60000 frames in odd pieces, each telling its number; the newest 12000 of the ring's 48000 are heard.
    for (std::int64_t first = 0; first < 60'000; first += 750)
        mixer->pushMicrophone(levels(750, [&](auto i) { return 1e-5 * static_cast<double>(first + i); }));
    mixer->pushSystem(levels(12'000, [](auto) { return 0.0; }));
    EXPECT_NEAR(left(0, 0), 0.7 * 0.48, 1e-6);
    EXPECT_NEAR(left(0, 11'999), 0.7 * 0.59999, 1e-6);
    EXPECT_NEAR(right(0, 11'999), -0.7 * 0.59999, 1e-6);
}

TEST_F(AudioMixerTest, aMicrophoneThatIsOffIsNotHeard) {
    mixer->micEnabled = false;
    mixer->pushMicrophone(levels(100, [](auto) { return 0.5; }));
    mixer->pushSystem(levels(100, [](auto) { return 0.25; }));
    mixer->micEnabled = true;
    mixer->pushSystem(levels(100, [](auto) { return 0.25; }));
    for (std::size_t buffer = 0; buffer < 2; ++buffer)
        EXPECT_NEAR(left(buffer, 50), 0.175, 1e-6);
}

TEST_F(AudioMixerTest, fullScaleIsOnlyTurnedDown) {
    mixer->pushSystem(levels(48'000, [](auto) { return 1.0; }));
    for (std::int64_t i = 0; i < 48'000; ++i)
        ASSERT_FLOAT_EQ(left(0, i), 0.7F);
}

TEST_F(AudioMixerTest, theLimiterFollowsItsEnvelopeFrameByFrameAcrossBuffers) {
    // The same arithmetic, written down a second time.
    float envelope = 0;
    const auto level = [](std::int64_t i) { return i < 4800 ? 2.0 : (i < 24'000 ? 0.5 : 1.5); };
    for (std::int64_t first = 0; first < 36'000; first += 1000)
        mixer->pushSystem(levels(1000, [&](auto i) { return level(first + i); }));
    ASSERT_EQ(mixed.size(), 36U);
    for (std::int64_t i = 0; i < 36'000; ++i) {
        const float in = 0.7F * static_cast<float>(level(i));
        const float coefficient = envelope < in ? 0.97938216F : 0.99982643F;
        envelope = in + coefficient * (envelope - in);
        const float expected = std::min(1.0F, envelope > 0.9F ? in * (0.9F / envelope) : in);
        ASSERT_NEAR(left(static_cast<std::size_t>(i / 1000), i % 1000), expected, 1e-5F) << i;
    }
    EXPECT_EQ(left(0, 0), 1) << "the clip catches what the limiter is too slow for";
    EXPECT_NEAR(left(4, 799), 0.9, 1e-3) << "then it settles";
}

TEST_F(AudioMixerTest, oneGainServesBothSides) {
    AudioSampleBuffer loud = commonSilence(4800, {});
    const auto samples = commonSamples(loud);
    for (std::size_t i = 0; i < samples.size(); i += 2) {
        samples[i] = 2;
        samples[i + 1] = 0.5F;
    }
    mixer->pushSystem(std::move(loud));
    EXPECT_NEAR(left(0, 4799) / right(0, 4799), 4, 1e-4);
}

TEST_F(AudioMixerTest, takesEachSourceInItsOwnFormat) {
    fakes::SoundDevice speakers(
        {.sound = fakes::sine(440, 0.2), .format = {SampleType::int16, 44100, 2}, .frames = 441});
    fakes::SoundDevice headset(
        {.sound = fakes::sine(1000, 0.3), .format = {SampleType::int16, 16000, 1}, .frames = 160});
    fakes::HeardSound heard;
    for (int i = 0; i < 100; ++i) {
        mixer->pushMicrophone(headset.next());
        const AudioSampleBuffer system = speakers.next();
        mixer->pushSystem(system);
        ASSERT_EQ(mixed.back().presentationTime, system.presentationTime);
    }
    for (const AudioSampleBuffer& buffer : mixed)
        heard.samples.insert(heard.samples.end(), commonSamples(buffer).begin(), commonSamples(buffer).end());
    const auto tone = heard.channel(1, 0.1, 0.9);
    EXPECT_NEAR(fakes::fitSine(tone, 440).amplitude, 0.14, 0.002);
    EXPECT_NEAR(fakes::fitSine(tone, 1000).amplitude, 0.21, 0.002);
}

TEST_F(AudioMixerTest, brokenSoundDoesNoLastingHarm) {
    for (const float broken : {std::nanf(""), HUGE_VALF, -3e38F}) {
        mixer->pushMicrophone(levels(480, [&](auto) { return static_cast<double>(broken); }));
        mixer->pushSystem(levels(480, [&](auto) { return static_cast<double>(broken); }));
    }
    mixer->pushSystem({});
    mixer->pushMicrophone({});
    mixer->pushSystem({commonAudioFormat, 100, {}, std::vector<std::byte>(799)});
    EXPECT_EQ(mixed.size(), 3U) << "what cannot be understood is dropped";
    for (int i = 0; i < 100; ++i)
        mixer->pushSystem(levels(480, [](auto) { return 0.5; }));
    for (const AudioSampleBuffer& buffer : mixed)
        for (const float sample : commonSamples(buffer))
            ASSERT_LE(std::abs(sample), 1);
    EXPECT_NEAR(left(mixed.size() - 1, 479), 0.35, 1e-6) << "a second later all is as before";
}

TEST_F(AudioMixerTest, bothSourcesMayPushAtOnce) {
    std::thread microphone([&] {
        for (int i = 0; i < 2000; ++i)
            mixer->pushMicrophone(levels(48, [](auto) { return 0.25; }));
    });
    for (int i = 0; i < 2000; ++i)
        mixer->pushSystem(levels(48, [](auto) { return 0.25; }));
    microphone.join();
    ASSERT_EQ(mixed.size(), 2000U);
    for (const AudioSampleBuffer& buffer : mixed)
        for (std::size_t i = 0; i < 96; i += 2) {
            const float sample = commonSamples(buffer)[i];
            ASSERT_TRUE(std::abs(sample - 0.175F) < 1e-6F || std::abs(sample - 0.35F) < 1e-6F) << sample;
        }
}

} // namespace
} // namespace quillet
