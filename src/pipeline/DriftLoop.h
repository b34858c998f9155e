// DriftLoop.h: how fast a sound device's clock really runs.
#pragma once

namespace quillet {

/// A control loop: from the distances between the buffers' times and the places that they were given it finds out by
/// how much the stream must be lengthened or shortened, so slowly that jitter of the times is not heard and no pitch is
/// seen to move. A clock 200 millionths off never leads further than a millisecond away, and the distance then goes to
/// zero.
///
/// Threads: one at a time.
class DriftLoop {
public:
    /// The most that it corrects; 1.7 hundredths of a semitone.
    static constexpr double mostMillionths = 1000;

    /// `error`: seconds by which a buffer's time lies after its place; `duration`: seconds that it lasts.
    void observe(double error, double duration);
    /// The stream was cut and stands right again; what is known of the clock remains.
    void placed() { smoothed = 0; }
    /// Another device, another clock.
    void reset();

    /// To be added to the stream's length.
    [[nodiscard]] double millionths() const;

private:
    double smoothed = 0; // the error, seconds
    double learnt = 0;   // the clock's deviation, as a fraction
};

} // namespace quillet
