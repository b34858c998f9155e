// VideoTimeline.h: when each picture stands in the file, and which ones are key frames.
#pragma once

#include "media/MediaTime.h"

#include <cstdint>
#include <optional>

namespace quillet {

/// Counts in ticks of the picture track since the file's start. Decides, before anything is encoded, which frames are
/// key frames, and where the last picture must be shown again because nothing new came:
/// - a frame is a key frame when one more frame period would go beyond two seconds since the last key frame;
/// - when two seconds pass without one, the last picture comes again as a key frame exactly two seconds after the last;
/// - when the recording is known to have reached a second after the last picture, that picture comes again there.
///
/// Threads: a value, no locks.
class VideoTimeline {
public:
    /// `fps`: frames expected a second, at least 1.
    VideoTimeline(MediaTime start, int fps);

    /// The start's own timescale if it is fine enough, else a multiple in which frames of `fps` are exact too.
    [[nodiscard]] std::int32_t timescale() const { return scale; }
    /// Negative before the start; the nearest tick if `time` falls between two.
    [[nodiscard]] std::int64_t ticksAt(MediaTime time) const;

    struct Frame {
        std::int64_t ticks = 0;
        bool isKey = false;
        /// Key frames of the picture before that must come first: so many, the first at firstKeyRepeat, two seconds
        /// apart.
        std::int64_t keyRepeats = 0;
        std::int64_t firstKeyRepeat = 0;
    };
    /// The place of a frame, which is taken from then on; nothing if `time` is not after the last picture's or lies
    /// before the start.
    [[nodiscard]] std::optional<Frame> addFrame(MediaTime time);

    struct Repeat {
        std::int64_t ticks = 0;
        bool isKey = false;
    };
    /// The next repetition that is due when the recording has reached `now`, which is taken from then on. A tenth of a
    /// second is left for frames that were captured before it but come after.
    [[nodiscard]] std::optional<Repeat> addRepeat(MediaTime now);

    /// Ticks between two frames at full rate, at least 1.
    [[nodiscard]] std::int64_t framePeriod() const;
    [[nodiscard]] std::int64_t keyDistance() const { return 2 * static_cast<std::int64_t>(scale); }

private:
    [[nodiscard]] bool isKeyDue(std::int64_t ticks) const;

    int fps;
    std::int32_t scale;
    std::int64_t start; // in ticks
    std::optional<std::int64_t> last;
    std::int64_t lastKey = 0;
};

} // namespace quillet
