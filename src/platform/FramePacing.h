// FramePacing.h: when the next frame may be made.
#pragma once

#include <algorithm>
#include <chrono>

namespace quillet {

/// At most so many frames a second, in the long run exactly so many when asked to go on without pause.
///
/// Frames stand on a grid: one that is made a little late, because a timer always is, does not push the next one back.
/// After a rest the grid starts anew with the first frame.
///
/// A picture that is painted as often as frames are made comes at any moment of the grid's step, and may come just when
/// a frame is due. One that is made for another reason then (the program's own window, the pointer) would now miss it
/// and now have the one after it: every other frame would show nothing new. So while others' pictures move, frames of
/// our own making wait for them for a moment. Threads: a value.
class FramePacing {
public:
    using Clock = std::chrono::steady_clock;
    /// What a frame is made for: something that others show, or only what is ours.
    enum class Cause { others, ours };

    /// Less than one frame a second counts as one.
    explicit FramePacing(int fps)
        : step(std::chrono::duration_cast<Clock::duration>(std::chrono::seconds(1)) / (fps < 1 ? 1 : fps)) {}

    [[nodiscard]] Clock::duration interval() const { return step; }
    /// The earliest moment of the next frame; the clock's beginning before the first one.
    [[nodiscard]] Clock::time_point due(Cause cause = Cause::others) const {
        return cause == Cause::ours && framesSinceOthers < inMotion ? next + step / waitParts : next;
    }

    /// A frame was made (or looked for in vain, which costs as much) at `now`.
    void tookPlaceAt(Clock::time_point now, Cause cause = Cause::others) {
        const bool isMotion = cause == Cause::others && now - next < inMotion * step;
        framesSinceOthers = isMotion ? 0 : std::min(framesSinceOthers + 1, inMotion);
        next = now - next < step / lateParts ? next + step : now + step;
    }

private:
    // As late as this part of a step, a frame still counts as in time. A wait together with a timer's lateness is less.
    static constexpr int lateParts = 4;
    static constexpr int waitParts = 6;
    // Others' pictures are in motion when one of this many frames was theirs.
    static constexpr int inMotion = 2;

    Clock::duration step;
    Clock::time_point next{};
    int framesSinceOthers = inMotion;
};

} // namespace quillet
