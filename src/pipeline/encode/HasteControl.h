// HasteControl.h: when the encoder has to hurry, so that a machine that is too slow loses sharpness and not pictures.
#pragma once

#include "pipeline/encode/VideoEncoder.h"

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace quillet {

/// Looks at how long pictures take against how often they come, and at how many wait. Hurries one step more as soon as
/// the queue in front of the encoder fills and the encoder is the reason, and one step less when there would have been
/// room for a second or so; longer, up to 16 seconds, where the last return had to be taken back soon after.
///
/// One large picture now and then (a key picture) is no reason to hurry, nor is a film's first, for which the encoder
/// sees all of its memory for the first time.
///
/// Threads: a value, no locks.
class HasteControl {
public:
    /// `fps`: pictures expected a second in motion, above zero.
    explicit HasteControl(int fps);

    /// Called after each picture: its place in the film, what it took, and how many waited behind it when it was begun.
    /// Returns how the next one is to be encoded.
    [[nodiscard]] Haste after(std::int64_t microseconds, std::chrono::nanoseconds taken, std::size_t waiting);

private:
    void hurry(double now);
    void relax(double now);

    double period; // all of these in seconds
    double lastTime = 0;
    bool isFirst = true;
    double secondsTaken = 0; // both fade away
    double secondsHad = 0;
    double calm = 0; // how long there has been room
    double patience;
    double lastReturn;
    int sinceChange = 0; // pictures
    Haste haste = Haste::none;
};

} // namespace quillet
