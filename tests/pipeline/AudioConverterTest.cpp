#include "pipeline/AudioConverter.h"

#include "tests/fakes/SoundDevice.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <tuple>

namespace quillet {
namespace {

using Formats = ::testing::TestWithParam<std::tuple<SampleType, SampleLayout, int, double>>;

class EveryFormat : public Formats {};

TEST_P(EveryFormat, keepsPitchLevelAndSides) {
    const auto [type, layout, channels, rate] = GetParam();
    fakes::SoundDevice device(
        {.sound =
             [](double seconds) {
                 return fakes::StereoLevel{fakes::sine(440, 0.5)(seconds).left, fakes::sine(660, 0.25)(seconds).left};
             },
         .format = {type, rate, channels, layout},
         .start = 100,
         .frames = static_cast<std::int64_t>(rate / 100)});
    AudioConverter converter(AudioConverter::Speed::fixed);
    fakes::HeardSound heard;
    for (int i = 0; i < 60; ++i) {
        const auto converted = converter.convert(device.next());
        ASSERT_TRUE(converted);
        EXPECT_EQ(converted->format, commonAudioFormat);
        EXPECT_LE(converted->frames, 480 + 32);
        heard.add(*converted);
    }
    EXPECT_LE(converter.convertersMade(), 1);
    EXPECT_EQ(heard.startSeconds(), 100) << "the sound begins where it began";
    ASSERT_GT(heard.frames(), 60 * 480 - 300); // the filter keeps a little back, at 8 kHz two milliseconds

    const double step = type == SampleType::uint8 ? 1.0 / 127 : 1e-3;
    const auto left = fakes::fitSine(heard.channel(0, 100.05, 100.55), 440);
    const double loudness = left.amplitude / 0.5; // channels beyond two are mixed down, all by the same measure
    if (channels <= 2)
        EXPECT_NEAR(left.amplitude, 0.5, 0.003 + step / 2);
    else
        EXPECT_GT(loudness, 0.2);
    EXPECT_LT(left.residualPeak, 1.1 * step);
    EXPECT_NEAR(std::remainder(left.phase - 2 * M_PI * 440 * 0.05, 2 * M_PI), 0, 0.02) << "not a sample late";
    const auto right = fakes::fitSine(heard.channel(1, 100.05, 100.55), channels == 1 ? 440 : 660);
    EXPECT_NEAR(right.amplitude, (channels == 1 ? 0.5 : 0.25) * loudness, 0.003 + step / 2);
    EXPECT_LT(right.residualPeak, 1.1 * step);
}

INSTANTIATE_TEST_SUITE_P(Types, EveryFormat,
                         ::testing::Combine(::testing::Values(SampleType::uint8, SampleType::int16,
                                                              SampleType::int24in32, SampleType::int32,
                                                              SampleType::float32, SampleType::float64),
                                            ::testing::Values(SampleLayout::interleaved, SampleLayout::planar),
                                            ::testing::Values(1, 2, 6), ::testing::Values(44100.0, 48000.0)));
INSTANTIATE_TEST_SUITE_P(RatesAndChannels, EveryFormat,
                         ::testing::Combine(::testing::Values(SampleType::int16),
                                            ::testing::Values(SampleLayout::interleaved),
                                            ::testing::Values(1, 2, 3, 4, 5, 6, 7, 8),
                                            ::testing::Values(8000.0, 16000.0, 32000.0, 96000.0, 192000.0)));

TEST(AudioConverter, passesTheCommonFormatOnUntouched) {
    fakes::SoundDevice device({.sound = fakes::sine(1000, 0.9)});
    AudioConverter converter(AudioConverter::Speed::fixed);
    const AudioSampleBuffer buffer = device.next();
    const auto converted = converter.convert(buffer);
    ASSERT_TRUE(converted);
    EXPECT_EQ(converted->samples, buffer.samples);
    EXPECT_EQ(converted->presentationTime, buffer.presentationTime);
    EXPECT_EQ(converter.convertersMade(), 0);
}

TEST(AudioConverter, makesANewConverterOnlyWhenTheFormatChanges) {
    AudioConverter converter(AudioConverter::Speed::fixed);
    fakes::SoundDevice narrow({.sound = fakes::sine(300, 0.5), .format = {SampleType::int16, 8000, 1}, .frames = 80});
    fakes::SoundDevice wide({.sound = fakes::sine(300, 0.5), .format = {SampleType::int16, 44100, 2}, .frames = 441});
    for (int round = 0; round < 3; ++round)
        for (fakes::SoundDevice* device : {&narrow, &wide})
            for (int i = 0; i < 5; ++i)
                EXPECT_TRUE(converter.convert(device->next()));
    EXPECT_EQ(converter.convertersMade(), 6);
}

struct BadBuffer {
    const char* name;
    AudioSampleBuffer buffer;
};

class BadBuffers : public ::testing::TestWithParam<BadBuffer> {};

TEST_P(BadBuffers, giveNothingAndHarmNothing) {
    AudioConverter converter(AudioConverter::Speed::fixed);
    EXPECT_FALSE(converter.convert(GetParam().buffer));
    fakes::SoundDevice device({.sound = fakes::sine(300, 0.5), .format = {SampleType::int16, 44100, 2}});
    EXPECT_TRUE(converter.convert(device.next()));
    EXPECT_FALSE(converter.convert(GetParam().buffer));
    EXPECT_TRUE(converter.convert(device.next()));
    EXPECT_EQ(converter.convertersMade(), 1);
}

std::vector<std::byte> bytes(std::size_t count) { return std::vector<std::byte>(count); }
const AudioFormat mono16{SampleType::int16, 16000, 1};

INSTANTIATE_TEST_SUITE_P(
    Table, BadBuffers,
    ::testing::Values(
        BadBuffer{"noFrames", {mono16, 0, {1, 1}, {}}}, BadBuffer{"fewerThanNoFrames", {mono16, -5, {1, 1}, bytes(10)}},
        BadBuffer{"tooFewBytes", {mono16, 100, {1, 1}, bytes(199)}},
        BadBuffer{"moreFramesThanMemory", {mono16, std::numeric_limits<std::int64_t>::max(), {1, 1}, bytes(200)}},
        BadBuffer{"noChannels", {{SampleType::int16, 16000, 0}, 10, {1, 1}, bytes(200)}},
        BadBuffer{"manyChannels", {{SampleType::int16, 16000, 9}, 10, {1, 1}, bytes(200)}},
        BadBuffer{"noRate", {{SampleType::int16, 0, 1}, 10, {1, 1}, bytes(200)}},
        BadBuffer{"rateIsNoNumber", {{SampleType::int16, std::nan(""), 1}, 10, {1, 1}, bytes(200)}},
        BadBuffer{"endlessRate", {{SampleType::int16, HUGE_VAL, 1}, 10, {1, 1}, bytes(200)}},
        BadBuffer{"timeOutOfReach", {mono16, 10, {std::numeric_limits<std::int64_t>::max(), 1}, bytes(200)}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(AudioConverter, numbersThatAreNoneAreSilenceAndHugeOnesAreCut) {
    AudioSampleBuffer buffer = commonSilence(4, {1, 1});
    const std::vector<float> odd{std::nanf(""), HUGE_VALF, -HUGE_VALF, 3e38F, -3e38F, 2.5F, -0.25F, 0};
    std::memcpy(buffer.samples.data(), odd.data(), odd.size() * sizeof(float));
    AudioConverter converter(AudioConverter::Speed::fixed);
    const auto converted = converter.convert(buffer);
    ASSERT_TRUE(converted);
    const auto samples = commonSamples(*converted);
    EXPECT_EQ(std::vector<float>(samples.begin(), samples.end()),
              (std::vector<float>{0, 0, 0, 1000, -1000, 2.5F, -0.25F, 0}));
}

TEST(AudioConverter, theSpeedLengthensTheSoundSmoothly) {
    AudioConverter converter(AudioConverter::Speed::adjustable);
    converter.setSpeed(500);
    fakes::SoundDevice device({.sound = fakes::sine(1000, 0.5), .frames = 480});
    fakes::HeardSound heard;
    std::int64_t frames = 0;
    for (int i = 0; i < 1000; ++i) {
        converter.setSpeed(500);
        const auto converted = converter.convert(device.next());
        ASSERT_TRUE(converted);
        frames += converted->frames;
        const auto samples = commonSamples(*converted);
        heard.samples.insert(heard.samples.end(), samples.begin(), samples.end());
    }
    const double longer = (static_cast<double>(frames) + converter.pendingFrames()) / 480'000 - 1;
    EXPECT_NEAR(longer * 1e6, 500, 5);
    const auto tone = heard.channel(0, 1, 9);
    const double hertz = fakes::frequencyOf(tone, 1000);
    EXPECT_NEAR(hertz, 1000 / 1.0005, 0.005);
    EXPECT_LT(fakes::fitSine(std::span(tone).subspan(48000, 4800), hertz).residualPeak, 0.5e-3);
}

} // namespace
} // namespace quillet
