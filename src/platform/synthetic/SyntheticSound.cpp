#include "platform/synthetic/SyntheticSound.h"

#include "pipeline/PacedAudioSource.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <numbers>
#include <utility>

namespace quillet {

namespace syntheticSound {

namespace {

constexpr std::int64_t rate = 48000;

/// Exact for any sample number: the frequencies are whole, so that each second repeats the last one.
double sine(double hertz, std::int64_t sample) {
    const auto within = static_cast<double>(((sample % rate) + rate) % rate);
    return std::sin(2 * std::numbers::pi * hertz * within / rate);
}

double click(std::int64_t sample) {
    const std::int64_t within = ((sample % rate) + rate) % rate;
    return within < clickSamples
               ? clickAmplitude * std::cos(2 * std::numbers::pi * 3000 * static_cast<double>(within) / rate)
               : 0;
}

} // namespace

std::array<float, 2> system(std::int64_t sample) {
    const double both = click(sample);
    return {static_cast<float>(amplitude * sine(leftHertz, sample) + both),
            static_cast<float>(amplitude * sine(rightHertz, sample) + both)};
}

float microphone(std::int64_t sample) {
    return static_cast<float>(amplitude * sine(microphoneHertz, sample) + click(sample - rate / 2));
}

} // namespace syntheticSound

namespace {

void paintSystem(AudioSampleBuffer& buffer) {
    const std::int64_t first = buffer.presentationTime.valueIn(48000);
    const std::span<float> samples = commonSamples(buffer);
    for (std::size_t i = 0; i < samples.size(); i += 2) {
        const auto pair = syntheticSound::system(first + static_cast<std::int64_t>(i / 2));
        samples[i] = pair[0];
        samples[i + 1] = pair[1];
    }
}

AudioSampleBuffer microphoneBuffer(const AudioSampleBuffer& stretch) {
    AudioSampleBuffer buffer{.format = {.sampleType = SampleType::int16, .channels = 1},
                             .frames = stretch.frames,
                             .presentationTime = stretch.presentationTime,
                             .samples = {}};
    buffer.samples.resize(static_cast<std::size_t>(stretch.frames) * sizeof(std::int16_t));
    const std::int64_t first = stretch.presentationTime.valueIn(48000);
    for (std::int64_t i = 0; i < stretch.frames; ++i) {
        const auto level = static_cast<std::int16_t>(std::lround(32767 * syntheticSound::microphone(first + i)));
        std::memcpy(buffer.samples.data() + static_cast<std::size_t>(i) * sizeof level, &level, sizeof level);
    }
    return buffer;
}

class SyntheticMicrophone final : public CaptureDevice {
public:
    SyntheticMicrophone(SerialQueue& ownQueue, std::function<MediaTime()> clock,
                        std::function<void(AudioSampleBuffer)> receiver)
        : queue(ownQueue), now(std::move(clock)), onSample(std::move(receiver)) {}

    void start() override {
        source = std::make_unique<PacedAudioSource>(
            queue, PacedAudioSource::Options{.now = now, .onBuffer = [this](const AudioSampleBuffer& stretch) {
                                                 onSample(microphoneBuffer(stretch));
                                             }});
    }
    void stop() override {
        source->drain();
        source.reset();
    }

private:
    SerialQueue& queue;
    std::function<MediaTime()> now;
    std::function<void(AudioSampleBuffer)> onSample;
    std::unique_ptr<PacedAudioSource> source; // while it runs
};

} // namespace

SystemAudioSourceFactory syntheticSystemAudioFactory(std::function<MediaTime()> now) {
    return [now = std::move(now)](SerialQueue& queue, std::function<void(AudioSampleBuffer)> onBuffer) {
        return std::make_unique<PacedAudioSource>(
            queue, PacedAudioSource::Options{.now = now, .onBuffer = std::move(onBuffer), .paint = paintSystem});
    };
}

decltype(CaptureDeviceFactories::microphone) syntheticMicrophoneFactory(std::function<MediaTime()> now) {
    return [now = std::move(now)](SerialQueue& queue, std::function<void(AudioSampleBuffer)> onSample) {
        return std::make_unique<SyntheticMicrophone>(queue, now, std::move(onSample));
    };
}

} // namespace quillet
