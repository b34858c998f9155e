// The steady clock that the system's sound is, from made-up stretches and moments.
#include "platform/pipewire/SoundPacer.h"

#include "platform/pipewire/CaptureRing.h"
#include "tests/fakes/SoundDevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <thread>
#include <vector>

namespace quillet {
namespace {

using fakes::HeardSound;
using fakes::SoundDevice;

constexpr double begin = 1000;

MediaTime at(double seconds) { return {static_cast<std::int64_t>(seconds * 1e6), liveTimescale}; }

/// Asks every 20 ms, as the source does, while `device` (may be null) delivers as soon as its sound is complete.
void run(SoundPacer& pacer, HeardSound& heard, double from, double until, SoundDevice* device) {
    for (double now = from; now < until; now += 0.02) {
        while (device && device->nextEnd() <= now)
            pacer.add({device->next(), 1});
        heard.add(pacer.next(at(now)));
    }
}

double endOf(const HeardSound& heard) { return heard.startSeconds() + static_cast<double>(heard.frames()) / 48000; }

TEST(SoundPacer, deliversSilenceOnTimeWhenNothingEverComes) {
    SoundPacer pacer(at(begin));
    HeardSound heard;
    run(pacer, heard, begin, begin + 5, nullptr);
    EXPECT_TRUE(heard.isContiguous);
    EXPECT_NEAR(heard.startSeconds(), begin, 1e-4);
    EXPECT_NEAR(endOf(heard), begin + 5 - 0.1, 0.021);
    EXPECT_TRUE(std::ranges::all_of(heard.samples, [](float sample) { return sample == 0; }));
}

TEST(SoundPacer, handsSoundOutAsSoonAsItIsHeard) {
    SoundPacer pacer(at(begin));
    SoundDevice device({.sound = fakes::sine(1000, 0.5), .start = begin});
    HeardSound heard;
    run(pacer, heard, begin, begin + 5, &device);
    EXPECT_TRUE(heard.isContiguous);
    EXPECT_NEAR(endOf(heard), begin + 5 - 0.02, 0.011);
    EXPECT_NEAR(fakes::fitSine(heard.channel(0, begin + 1, begin + 4), 1000).amplitude, 0.5, 1e-3);
}

TEST(SoundPacer, losesNothingOfAServerWithLongPeriods) {
    SoundPacer pacer(at(begin));
    SoundDevice device({.sound = fakes::sine(1000, 0.5), .start = begin, .frames = 8192});
    HeardSound heard;
    run(pacer, heard, begin, begin + 5, &device);
    EXPECT_TRUE(heard.isContiguous);
    const auto fit = fakes::fitSine(heard.channel(0, begin + 1, begin + 4), 1000);
    EXPECT_NEAR(fit.amplitude, 0.5, 1e-3);
    EXPECT_LT(fit.residualPeak, 1e-2);
}

TEST(SoundPacer, leavesClicksAtTheirTimesAcrossAGapThatItFilled) {
    SoundPacer pacer(at(begin));
    SoundDevice device({.sound = fakes::clicks(1, 0.8), .start = begin + 0.5});
    HeardSound heard;
    run(pacer, heard, begin, begin + 3.5, &device);
    run(pacer, heard, begin + 3.5, begin + 5.5, nullptr);
    device.lose(2 * 48000);
    run(pacer, heard, begin + 5.5, begin + 9, &device);
    EXPECT_TRUE(heard.isContiguous);
    const std::vector<double> found = fakes::onsets(heard, 0.1);
    // One each second from 1001 on, except those lost at 1004 and 1005.
    ASSERT_EQ(found.size(), 6U);
    const std::vector<double> expected{1001, 1002, 1003, 1006, 1007, 1008};
    for (std::size_t i = 0; i < found.size(); ++i)
        EXPECT_NEAR(found[i], expected[i], 0.002);
}

TEST(SoundPacer, fillsAGapOfAnyLength) {
    SoundPacer pacer(at(begin));
    SoundDevice device({.sound = fakes::sine(1000, 0.5), .start = begin});
    HeardSound heard;
    run(pacer, heard, begin, begin + 1, &device);
    // The queue stands still for a minute, and most of the sound of that time is lost.
    device.lose(60 * 48000);
    run(pacer, heard, begin + 61, begin + 62, &device);
    EXPECT_TRUE(heard.isContiguous);
    EXPECT_NEAR(endOf(heard), begin + 62 - 0.02, 0.021);
}

TEST(SoundPacer, givesTheRestUpToNow) {
    SoundPacer pacer(at(begin));
    HeardSound heard;
    run(pacer, heard, begin, begin + 1, nullptr);
    heard.add(pacer.rest(at(begin + 1.005)));
    EXPECT_NEAR(endOf(heard), begin + 1.005, 1e-4);
    // And goes on after it.
    run(pacer, heard, begin + 1.005, begin + 2, nullptr);
    EXPECT_TRUE(heard.isContiguous);
}

TEST(CaptureRing, handsOverWhatWasPushedInOrderAcrossItsEdge) {
    CaptureRing ring(1000);
    std::thread writer([&] {
        float value = 0;
        for (int stretch = 0; stretch < 2000;) {
            std::vector<float> samples(2 * static_cast<std::size_t>(100 + stretch % 37));
            float next = value;
            for (float& sample : samples)
                sample = next++;
            if (next > 1e6F) next = 0;
            if (!ring.push(samples, std::chrono::microseconds(stretch), 7)) {
                std::this_thread::yield();
                continue;
            }
            value = next;
            ++stretch;
        }
    });
    float value = 0;
    for (int stretch = 0; stretch < 2000;) {
        const auto sound = ring.take();
        if (!sound) {
            std::this_thread::yield();
            continue;
        }
        const auto samples = commonSamples(sound->buffer);
        ASSERT_EQ(samples.size(), 2 * static_cast<std::size_t>(100 + stretch % 37));
        EXPECT_EQ(sound->buffer.presentationTime, (MediaTime{stretch, liveTimescale}));
        EXPECT_EQ(sound->device, 7U);
        float next = value;
        for (const float sample : samples)
            ASSERT_EQ(sample, next++);
        value = next > 1e6F ? 0 : next;
        ++stretch;
    }
    writer.join();
}

TEST(CaptureRing, dropsWhatHasNoRoom) {
    CaptureRing ring(1000);
    const std::vector<float> stretch(1200);
    EXPECT_TRUE(ring.push(stretch, {}, 1));
    EXPECT_FALSE(ring.push(stretch, {}, 1));
    EXPECT_TRUE(ring.take());
    EXPECT_FALSE(ring.take());
    EXPECT_TRUE(ring.push(stretch, {}, 1));
}

} // namespace
} // namespace quillet
