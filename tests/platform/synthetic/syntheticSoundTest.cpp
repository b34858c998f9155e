#include "platform/synthetic/SyntheticSound.h"

#include "pipeline/PacedAudioSource.h"
#include "tests/fakes/SoundDevice.h"
#include "tests/fakes/x11/eventually.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <mutex>
#include <vector>

namespace quillet {
namespace {

TEST(SyntheticSound, theSystemsSoundIsTheFormulaAtItsTime) {
    std::atomic<std::int64_t> clock = 5'000'000;
    const auto now = [&] { return MediaTime{clock, liveTimescale}; };
    SerialQueue queue("test.sound");
    fakes::HeardSound heard;
    std::unique_ptr<SystemAudioSource> source;
    queue.sync([&] {
        source = syntheticSystemAudioFactory(now)(queue, [&](const AudioSampleBuffer& buffer) { heard.add(buffer); });
        clock = 7'500'000;
        source->drain();
        source.reset();
    });
    EXPECT_TRUE(heard.isContiguous);
    EXPECT_EQ(heard.startSeconds(), 5);
    ASSERT_EQ(heard.frames(), 120'000);
    for (std::int64_t i = 0; i < heard.frames(); ++i) {
        const auto expected = syntheticSound::system(5 * 48000 + i);
        ASSERT_EQ(heard.samples[static_cast<std::size_t>(2 * i)], expected[0]);
        ASSERT_EQ(heard.samples[static_cast<std::size_t>(2 * i) + 1], expected[1]);
    }
    EXPECT_EQ(fakes::onsets(heard, 0.5), (std::vector<double>{5, 6, 7}));
    EXPECT_NEAR(fakes::fitSine(heard.channel(0, 5.1, 5.9), 440).amplitude, 0.2, 1e-3);
    EXPECT_NEAR(fakes::fitSine(heard.channel(1, 5.1, 5.9), 660).amplitude, 0.2, 1e-3);
}

TEST(SyntheticSound, aClockThatStandsStillOrFallsBackMakesNoSound) {
    std::atomic<std::int64_t> clock = 5'000'000;
    SerialQueue queue("test.sound");
    fakes::HeardSound heard;
    queue.sync([&] {
        PacedAudioSource source(queue, {.now =
                                            [&] {
                                                return MediaTime{clock, liveTimescale};
                                            },
                                        .onBuffer = [&](const AudioSampleBuffer& buffer) { heard.add(buffer); }});
        source.drain();
        clock = 1'000'000;
        source.drain();
        EXPECT_EQ(heard.frames(), 0);
        clock = 5'100'000;
        source.drain();
        EXPECT_EQ(heard.frames(), 4800);
        clock = 3'600'000'000; // an hour's sleep
        source.drain();
        EXPECT_EQ(heard.frames(), 4800 + PacedAudioSource::longestCatchUp);
    });
}

TEST(SyntheticSound, theMicrophoneSpeaksBetweenStartAndStop) {
    std::atomic<std::int64_t> clock = 5'000'000;
    const auto now = [&] { return MediaTime{clock, liveTimescale}; };
    SerialQueue queue("test.sound");
    std::vector<std::int16_t> heard;
    queue.sync([&] {
        const auto device = syntheticMicrophoneFactory(now)(queue, [&](const AudioSampleBuffer& buffer) {
            EXPECT_EQ(buffer.format, (AudioFormat{SampleType::int16, 48000, 1}));
            const std::size_t old = heard.size();
            heard.resize(old + static_cast<std::size_t>(buffer.frames));
            std::memcpy(heard.data() + old, buffer.samples.data(), buffer.samples.size());
        });
        clock = 6'000'000;
        device->start();
        clock = 6'750'000;
        device->stop();
        clock = 8'000'000;
    });
    ASSERT_EQ(heard.size(), 36'000U);
    for (std::size_t i = 0; i < heard.size(); ++i)
        ASSERT_EQ(heard[i], std::lround(32767 * syntheticSound::microphone(6 * 48000 + static_cast<std::int64_t>(i))));
    EXPECT_GT(heard[24'000], 20'000) << "the click of the half second";
}

} // namespace
} // namespace quillet
