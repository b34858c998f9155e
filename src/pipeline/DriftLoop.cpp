#include "pipeline/DriftLoop.h"

#include <algorithm>
#include <cmath>

namespace quillet {

namespace {

// A loop of the second order, critically damped, behind a low-pass that keeps the jitter of single times out.
constexpr double naturalFrequency = 0.1; // radians a second: settled after half a minute
constexpr double proportional = 2 * naturalFrequency;
constexpr double integral = naturalFrequency * naturalFrequency;
constexpr double smoothingSeconds = 1;
constexpr double most = DriftLoop::mostMillionths / 1e6;

} // namespace

void DriftLoop::observe(double error, double duration) {
    smoothed += (error - smoothed) * -std::expm1(-duration / smoothingSeconds);
    // A large distance says little about the clock; at full speed nothing is learnt, or it would shoot far over its
    // aim.
    if (std::abs(learnt + proportional * smoothed) < most)
        learnt = std::clamp(learnt + integral * smoothed * duration, -most, most);
}

void DriftLoop::reset() { *this = {}; }

double DriftLoop::millionths() const { return std::clamp(learnt + proportional * smoothed, -most, most) * 1e6; }

} // namespace quillet
