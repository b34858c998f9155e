// SoundSeam.h: where a stream of sound is cut and joined, without a click.
#pragma once

#include <span>

#include <array>
#include <cstddef>

namespace quillet {

/// Watches a stereo stream go by. At a cut, what was heard last is played backwards while it fades out, and what comes
/// next fades in: the signal neither jumps nor stops dead, and nothing has to be held back for it.
///
/// Threads: one at a time.
class SoundSeam {
public:
    /// 5 ms at 48 kHz: too short for an echo, long enough that the ramp itself is not heard.
    static constexpr std::size_t rampFrames = 240;

    /// The stream is cut here.
    void cut();
    /// From here on there is sound again; it fades in.
    void open() { fadedIn = 0; }
    /// Works on the next stretch of the stream, left and right in turns, in place.
    void pass(std::span<float> samples);

private:
    using Stretch = std::array<float, 2 * rampFrames>;

    Stretch heard{};                  // the last frames that went by, a ring
    std::size_t heardNext = 0;        // where the next frame goes
    Stretch echo{};                   // what fades out
    std::size_t echoed = rampFrames;  // frames of it that are out
    std::size_t fadedIn = rampFrames; // frames of the ramp that are done
};

} // namespace quillet
