// TeleprompterScroll.h: how far a script moves with each tick.
#pragma once

#include <optional>

namespace quillet {

/// A script that scrolls in whole points only, at its speed on average: what is left of a point is carried over to the
/// next tick.
///
/// Threads: one at a time.
class TeleprompterScroll {
public:
    static constexpr double ticksPerSecond = 60;

    struct Place {
        double y = 0;    ///< points of the script above the visible part
        double most = 0; ///< the largest y that still fills the visible part; 0 for a script that fits into it
    };

    [[nodiscard]] bool isPlaying() const { return playing; }
    void setPlaying(bool isPlaying) { playing = isPlaying; }

    /// The new y, if the script moves with this tick. At the end it stops playing. `pointsPerSecond` is not negative.
    [[nodiscard]] std::optional<double> tick(const Place& place, double pointsPerSecond);
    /// Forgets the part of a point. Goes on playing.
    void restart() { accumulator = 0; }

private:
    bool playing = false;
    double accumulator = 0; // points not yet scrolled
};

} // namespace quillet
