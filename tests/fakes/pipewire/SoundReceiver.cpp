#include "tests/fakes/pipewire/SoundReceiver.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <vector>

namespace quillet::testing {

SoundReceiver::~SoundReceiver() { stop(); }

void SoundReceiver::start(const SystemAudioSourceFactory& factory) {
    queue.sync([&] { system = factory(queue, [this](const AudioSampleBuffer& buffer) { receive(buffer); }); });
}

bool SoundReceiver::start(const decltype(CaptureDeviceFactories::microphone)& factory) {
    // As the program does: opened on another thread than the queue's.
    auto opened = factory(queue, [this](const AudioSampleBuffer& buffer) { receive(buffer); });
    if (!opened) return false;
    queue.sync([&] {
        microphone = std::move(opened);
        microphone->start();
    });
    return true;
}

void SoundReceiver::stop() {
    queue.sync([&] {
        system.reset();
        microphone.reset();
    });
}

void SoundReceiver::drain() {
    queue.sync([&] { system->drain(); });
}

void SoundReceiver::receive(const AudioSampleBuffer& buffer) {
    const double start = buffer.presentationTime.seconds();
    const double end = start + static_cast<double>(buffer.frames) / buffer.format.sampleRate;
    const std::lock_guard guard(mutex);
    latency = mediaTimeNow().seconds() - end;
    if (start < latestEnd - 1 / buffer.format.sampleRate) ++overlapCount;
    latestEnd = end;
    sound.add(buffer);
    arrived.notify_all();
}

bool SoundReceiver::waitFor(const std::function<bool(const fakes::HeardSound&)>& condition) {
    std::unique_lock lock(mutex);
    return arrived.wait_for(lock, std::chrono::seconds(20), [&] { return condition(sound); });
}

fakes::HeardSound SoundReceiver::heard() const {
    const std::lock_guard guard(mutex);
    return sound;
}

void SoundReceiver::forget() {
    queue.sync([&] {
        const std::lock_guard guard(mutex);
        sound = {};
    });
}

bool SoundReceiver::becomesPrompt() {
    return waitFor([this](const fakes::HeardSound&) { return std::abs(latency) < 0.1; });
}

int SoundReceiver::overlaps() const {
    const std::lock_guard guard(mutex);
    return overlapCount;
}

bool endsWithTone(const fakes::HeardSound& heard, int channel, double hertz, double amplitude, double seconds) {
    const auto wanted = static_cast<std::int64_t>(seconds * 48000);
    if (heard.frames() < wanted) return false;
    std::vector<float> last;
    for (std::int64_t frame = heard.frames() - wanted; frame < heard.frames(); ++frame)
        last.push_back(heard.samples[static_cast<std::size_t>(2 * frame + channel)]);
    if (hertz <= 0) return std::ranges::all_of(last, [](float sample) { return sample == 0; });
    // For some seconds after a change of devices the pitch may be corrected by a thousandth.
    const double pitch = fakes::frequencyOf(last, hertz);
    if (std::abs(pitch - hertz) > 0.0012 * hertz) return false;
    const fakes::SineFit fit = fakes::fitSine(last, pitch);
    return std::abs(fit.amplitude - amplitude) < 0.02 * amplitude && fit.residualPeak < 0.02 * amplitude;
}

} // namespace quillet::testing
