// FramePacing.h: when the next frame may be made.
#pragma once

#include <chrono>

namespace quillet {

/// At most so many frames a second, in the long run exactly so many when asked to go on without pause.
///
/// Frames stand on a grid: one that is made a little late, because a timer always is, does not push the next one back.
/// After a rest the grid starts anew with the first frame. Threads: a value.
class FramePacing {
public:
    using Clock = std::chrono::steady_clock;

    /// Less than one frame a second counts as one.
    explicit FramePacing(int fps)
        : step(std::chrono::duration_cast<Clock::duration>(std::chrono::seconds(1)) / (fps < 1 ? 1 : fps)) {}

    [[nodiscard]] Clock::duration interval() const { return step; }
    /// The earliest moment of the next frame; the clock's beginning before the first one.
    [[nodiscard]] Clock::time_point due() const { return next; }

    /// A frame was made (or looked for in vain, which costs as much) at `now`.
    void tookPlaceAt(Clock::time_point now) { next = now - next < step / 4 ? next + step : now + step; }

private:
    Clock::duration step;
    Clock::time_point next{};
};

} // namespace quillet
