#include "platform/pipewire/SoundPacer.h"

#include <span>

#include <algorithm>
#include <utility>

namespace quillet {

namespace {

constexpr std::int32_t sampleRate = 48000;

/// Well below the longest gap that a timeline fills at once.
constexpr MediaTime longestStep{1, 1};

MediaTime before(MediaTime time, std::chrono::milliseconds duration) {
    return time - MediaTime{duration.count(), 1000};
}

} // namespace

SoundPacer::SoundPacer(MediaTime begin) : handedOver(begin.valueIn(sampleRate)) {
    static_cast<void>(timeline.fillUntil({handedOver, sampleRate}));
}

void SoundPacer::add(CapturedSound sound) {
    if (sound.device != device) timeline.changeDevice();
    device = sound.device;
    const std::chrono::milliseconds period(sound.buffer.frames * 1000 / sampleRate);
    patience = std::clamp(period + margin, leastPatience, mostPatience);
    // A gap too long for the timeline: its queue has been standing still for all that time.
    if (timeline.end() + longestStep < sound.buffer.presentationTime) fillUntil(sound.buffer.presentationTime);
    keep(timeline.place(std::move(sound.buffer)));
}

AudioSampleBuffer SoundPacer::next(MediaTime now) {
    fillUntil(before(now, patience));
    return handOver(now);
}

AudioSampleBuffer SoundPacer::rest(MediaTime now) {
    fillUntil(now);
    return handOver(now);
}

void SoundPacer::fillUntil(MediaTime time) {
    const MediaTime frame = time.in(sampleRate); // a time between two frames would never be reached
    while (timeline.end() < frame)
        keep(timeline.fillUntil(std::min(frame, timeline.end() + longestStep)));
}

void SoundPacer::keep(const AudioSampleBuffer& stretch) {
    const std::span<const float> samples = commonSamples(stretch);
    waiting.insert(waiting.end(), samples.begin(), samples.end());
}

AudioSampleBuffer SoundPacer::handOver(MediaTime until) {
    const std::int64_t due = until.valueIn(sampleRate) - handedOver;
    const std::int64_t frames = std::clamp<std::int64_t>(due, 0, static_cast<std::int64_t>(waiting.size() / 2));
    AudioSampleBuffer buffer = commonSilence(frames, {handedOver, sampleRate});
    const auto end = waiting.begin() + 2 * frames;
    std::copy(waiting.begin(), end, commonSamples(buffer).begin());
    waiting.erase(waiting.begin(), end);
    handedOver += frames;
    return buffer;
}

} // namespace quillet
