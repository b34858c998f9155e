// SoundTimeline.h: buffers that come with times become one unbroken stream, every frame at its time.
#pragma once

#include "media/AudioSampleBuffer.h"
#include "pipeline/AudioConverter.h"
#include "pipeline/DriftLoop.h"
#include "pipeline/SoundSeam.h"

#include <cstdint>

namespace quillet {

/// Takes what a sound device gives (any format, times that jitter, drift, jump, leave gaps or overlap) and gives the
/// common format without gap or overlap:
///  - A buffer whose time is less than 15 ms off its place is joined on. The stream is then lengthened or shortened
///    by resampling until the distance is gone, too slowly for the ear (DriftLoop).
///  - A later one comes after silence of the missing length; of an earlier one that part is left out which lies before
///    the stream's end. Either way the sound fades (SoundSeam) and the buffer then stands exactly.
///
/// Threads: one at a time.
class SoundTimeline {
public:
    static constexpr double toleranceSeconds = 0.015;
    /// The most silence that is made good at once. A stream that is resumed after a longer gap goes on at the new place
    /// without the silence between, as if it had just begun.
    static constexpr std::int64_t longestGapFrames = 10 * 48000;

    SoundTimeline();

    /// The stream's next stretch, which may be empty: it begins at the end of the last one (but see longestGapFrames).
    /// The first buffer begins the stream. One that cannot be understood changes nothing.
    [[nodiscard]] AudioSampleBuffer place(AudioSampleBuffer buffer);

    /// Nothing has come and nothing is awaited before `time`: the stretch from the stream's end up to there, silence
    /// but for the last sound's fading. A stream that has not begun begins at `time`. Empty when `time` is past.
    [[nodiscard]] AudioSampleBuffer fillUntil(MediaTime time);

    /// The sound now comes from another device, so that what was learnt about the clock of the last one is void. (A
    /// change of the format says the same by itself.)
    void changeDevice();

    [[nodiscard]] bool hasBegun() const { return begun; }
    /// Where the next stretch begins, in 48000ths of a second.
    [[nodiscard]] MediaTime end() const { return {position, 48000}; }
    /// By how much the device's sound is being lengthened, in millionths.
    [[nodiscard]] double driftMillionths() const { return drift.millionths(); }

private:
    /// Where the stream stands with its device.
    enum class State {
        cut,     ///< the next sound is placed exactly
        running, ///< the next sound is joined on if its time allows
    };

    void cut();
    /// Leaves out the first frames of the buffer; false when none are left.
    static bool leaveOut(AudioSampleBuffer& buffer, std::int64_t frames);
    /// The silence from the stream's end up to there, if any.
    AudioSampleBuffer silenceUntil(std::int64_t until);
    void append(AudioSampleBuffer& stretch, AudioSampleBuffer buffer);
    [[nodiscard]] AudioSampleBuffer emptyStretch() const;

    AudioConverter converter{AudioConverter::Speed::adjustable};
    DriftLoop drift;
    SoundSeam seam;
    State state = State::cut;
    bool begun = false;
    std::int64_t position = 0; // the stream's end, in frames of 48 kHz on the picture's clock
    AudioFormat lastFormat;
};

} // namespace quillet
