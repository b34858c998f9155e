#include "pipeline/SilentAudioSource.h"

#include <algorithm>
#include <utility>

namespace quillet {

namespace {

constexpr std::int32_t rate = 48000;

} // namespace

SilentAudioSource::SilentAudioSource(SerialQueue& ownQueue, std::function<MediaTime()> clock,
                                     std::function<void(AudioSampleBuffer)> receiver)
    : queue(ownQueue), now(std::move(clock)), onBuffer(std::move(receiver)), position(now().valueIn(rate)) {
    schedule();
}

SilentAudioSource::~SilentAudioSource() { queue.cancel(timer); }

void SilentAudioSource::schedule() {
    timer = queue.after(SerialQueue::Clock::now() + interval, [this] {
        drain();
        schedule();
    });
}

void SilentAudioSource::drain() {
    const std::int64_t until = now().valueIn(rate);
    position = std::max(position, until - longestCatchUp);
    while (position < until) {
        const std::int64_t frames = std::min(bufferFrames, until - position);
        const MediaTime time{position, rate};
        position += frames;
        onBuffer(commonSilence(frames, time));
    }
}

} // namespace quillet
