#include "pipeline/encode/VideoTimeline.h"

#include <algorithm>
#include <numeric>

namespace quillet {

namespace {

// Fine enough for any frame rate, and small enough for 32-bit durations of whole minutes.
std::int32_t fineTimescale(std::int32_t timescale, int fps) {
    constexpr std::int32_t coarse = 1000;
    if (timescale >= coarse) return timescale;
    // Both are small: their multiple fits easily.
    const std::int64_t common = std::lcm(static_cast<std::int64_t>(timescale), std::min<std::int64_t>(fps, coarse));
    return static_cast<std::int32_t>(common < coarse ? common * coarse : common);
}

} // namespace

VideoTimeline::VideoTimeline(MediaTime startTime, int framesPerSecond)
    : fps(std::max(1, framesPerSecond)), scale(fineTimescale(startTime.timescale, fps)),
      start(startTime.valueIn(scale)) {}

std::int64_t VideoTimeline::ticksAt(MediaTime time) const { return time.valueIn(scale) - start; }

std::int64_t VideoTimeline::framePeriod() const { return std::max<std::int64_t>(1, (scale + fps / 2) / fps); }

bool VideoTimeline::isKeyDue(std::int64_t ticks) const {
    // Multiplied out by fps, so that frames at exactly 1/fps have their key frames exactly 2 * fps frames apart.
    return (ticks - lastKey) * fps + scale > keyDistance() * fps;
}

std::optional<VideoTimeline::Frame> VideoTimeline::addFrame(MediaTime time) {
    Frame frame;
    frame.ticks = ticksAt(time);
    if (frame.ticks < 0 || (last && frame.ticks <= *last)) return std::nullopt;
    if (!last) {
        frame.isKey = true;
    } else {
        if (frame.ticks - lastKey > keyDistance()) {
            frame.firstKeyRepeat = lastKey + keyDistance();
            // As many as lie before the frame: one that falls on it is the frame itself.
            frame.keyRepeats = (frame.ticks - 1 - lastKey) / keyDistance();
            lastKey += frame.keyRepeats * keyDistance();
        }
        frame.isKey = isKeyDue(frame.ticks);
    }
    last = frame.ticks;
    if (frame.isKey) lastKey = frame.ticks;
    return frame;
}

std::optional<VideoTimeline::Repeat> VideoTimeline::addRepeat(MediaTime now) {
    if (!last) return std::nullopt;
    const std::int64_t next = std::min(*last + scale, lastKey + keyDistance());
    if (next > ticksAt(now) - scale / 10) return std::nullopt;
    const Repeat repeat{next, isKeyDue(next)};
    last = next;
    if (repeat.isKey) lastKey = next;
    return repeat;
}

} // namespace quillet
