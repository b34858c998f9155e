// What a recorded minute of sound costs on its way from the devices into AAC packets, stage by stage, and how late the
// mix comes. One iteration is a minute of sound.

#include "pipeline/AlignedAudioMixer.h"
#include "pipeline/encode/AacEncoder.h"
#include "pipeline/encode/SoundTrack.h"
#include "platform/synthetic/SyntheticSound.h"

#include <benchmark/benchmark.h>
#include <span>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <numbers>
#include <vector>

namespace quillet {
namespace {

/// A minute of the synthetic speakers.
std::vector<AudioSampleBuffer> speakers() {
    std::vector<AudioSampleBuffer> buffers;
    for (std::int64_t first = 0; first < 60 * 48000; first += 512) {
        AudioSampleBuffer buffer = commonSilence(512, {first, 48000});
        for (std::int64_t i = 0; i < buffer.frames; ++i) {
            const auto pair = syntheticSound::system(first + i);
            std::copy(pair.begin(), pair.end(), commonSamples(buffer).begin() + 2 * i);
        }
        buffers.push_back(std::move(buffer));
    }
    return buffers;
}

/// A minute of the synthetic microphone, 16 bits and one channel, on a clock 200 millionths fast with uneven times.
std::vector<AudioSampleBuffer> voice() {
    std::vector<AudioSampleBuffer> buffers;
    for (std::int64_t first = 0; first < 60 * 48000; first += 480) {
        const double jitter = 0.002 * std::sin(static_cast<double>(first));
        const double seconds = static_cast<double>(first) / 48000 / 1.0002 + jitter;
        AudioSampleBuffer buffer{.format = {.sampleType = SampleType::int16, .channels = 1},
                                 .frames = 480,
                                 .presentationTime = {std::llround(seconds * liveTimescale), liveTimescale},
                                 .samples = std::vector<std::byte>(960)};
        for (std::int64_t i = 0; i < buffer.frames; ++i) {
            const auto level = static_cast<std::int16_t>(32767 * syntheticSound::microphone(first + i));
            std::memcpy(buffer.samples.data() + 2 * i, &level, sizeof level);
        }
        buffers.push_back(std::move(buffer));
    }
    return buffers;
}

/// How loud a tone is on the left in a tenth of a second.
double loudness(std::span<const float> samples, double hertz) {
    double sine = 0;
    double cosine = 0;
    for (std::size_t i = 0; i < 4800; ++i) {
        const double angle = 2 * std::numbers::pi * hertz * static_cast<double>(i) / 48000;
        sine += static_cast<double>(samples[2 * i]) * std::sin(angle) / 2400;
        cosine += static_cast<double>(samples[2 * i]) * std::cos(angle) / 2400;
    }
    return std::hypot(sine, cosine);
}

/// One device's sound placed by its times, which is what each source costs.
void placeByTime(benchmark::State& state) {
    const auto buffers = voice();
    std::int64_t frames = 0;
    for (auto _ : state) {
        SoundTimeline timeline;
        frames = 0;
        for (const AudioSampleBuffer& buffer : buffers)
            frames += timeline.place(buffer).frames;
    }
    if (std::abs(static_cast<double>(frames) - 60.0 * 48000) > 1500) state.SkipWithError("sound is missing");
}
BENCHMARK(placeByTime)->Unit(benchmark::kMillisecond);

/// Both sounds, placed, aligned, mixed and limited.
void mix(benchmark::State& state) {
    const auto system = speakers();
    const auto spoken = voice();
    std::vector<float> heard;
    double latest = 0;
    for (auto _ : state) {
        const auto mixer = AudioMixer::make();
        AlignedAudioMixer aligned(*mixer);
        heard.clear();
        latest = 0;
        double now = 0;
        mixer->onMixed = [&](const AudioSampleBuffer& buffer) {
            latest = std::max(latest, now - buffer.presentationTime.seconds());
            heard.insert(heard.end(), commonSamples(buffer).begin(), commonSamples(buffer).end());
        };
        std::size_t next = 0;
        for (const AudioSampleBuffer& buffer : system) {
            now = buffer.presentationTime.seconds() + static_cast<double>(buffer.frames) / 48000;
            for (; next < spoken.size() && spoken[next].presentationTime.seconds() + 0.01 < now; ++next)
                aligned.pushMicrophone(spoken[next]);
            aligned.pushSystem(buffer);
        }
    }
    const auto stretch = std::span<const float>(heard).subspan(2 * (30 * 48000 + 4800));
    const double expected = 0.7 * syntheticSound::amplitude;
    if (std::abs(loudness(stretch, syntheticSound::leftHertz) - expected) > 0.01 ||
        std::abs(loudness(stretch, syntheticSound::microphoneHertz) - expected) > 0.01)
        state.SkipWithError("the mix is not what went in");
    // From a buffer's first sample being heard to its mix being handed on, the buffer's own length included.
    state.counters["latencyMilliseconds"] = latest * 1000;
}
BENCHMARK(mix)->Unit(benchmark::kMillisecond);

/// The mix into AAC packets.
void encode(benchmark::State& state) {
    const auto system = speakers();
    std::size_t bytes = 0;
    for (auto _ : state) {
        Error error;
        SoundTrack track(AacEncoder::make(error), system.front().presentationTime);
        bytes = 0;
        const auto count = [&](std::span<const std::byte> packet) { bytes += packet.size(); };
        for (const AudioSampleBuffer& buffer : system) {
            track.add(buffer);
            while (track.isPending())
                if (track.encode(48000, count)) state.SkipWithError("the encoder failed");
        }
        if (track.finish(count)) state.SkipWithError("the encoder failed");
    }
    if (bytes < 100'000) state.SkipWithError("packets are missing");
    state.counters["kbit/s"] = static_cast<double>(bytes) * 8 / 1000 / 60;
}
BENCHMARK(encode)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace quillet
