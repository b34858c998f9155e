#include "pipeline/PacedAudioSource.h"

#include <algorithm>
#include <utility>

namespace quillet {

namespace {

constexpr std::int32_t rate = 48000;

} // namespace

PacedAudioSource::PacedAudioSource(SerialQueue& ownQueue, Options wanted)
    : queue(ownQueue), options(std::move(wanted)), position(options.now().valueIn(rate)) {
    schedule();
}

PacedAudioSource::~PacedAudioSource() { queue.cancel(timer); }

void PacedAudioSource::schedule() {
    timer = queue.after(SerialQueue::Clock::now() + interval, [this] {
        drain();
        schedule();
    });
}

void PacedAudioSource::drain() {
    const std::int64_t until = options.now().valueIn(rate);
    position = std::max(position, until - longestCatchUp);
    while (position < until) {
        AudioSampleBuffer buffer = commonSilence(std::min(bufferFrames, until - position), {position, rate});
        position += buffer.frames;
        if (options.paint) options.paint(buffer);
        options.onBuffer(std::move(buffer));
    }
}

} // namespace quillet
