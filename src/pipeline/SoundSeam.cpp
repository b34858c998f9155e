#include "pipeline/SoundSeam.h"

#include <cmath>
#include <numbers>

namespace quillet {

namespace {

/// From 0 to 1 over the ramp, level at both ends.
const std::array<float, SoundSeam::rampFrames>& ramp() {
    static const auto values = [] {
        std::array<float, SoundSeam::rampFrames> made{};
        for (std::size_t i = 0; i < made.size(); ++i) {
            const double phase = (static_cast<double>(i) + 0.5) / static_cast<double>(made.size());
            made.at(i) = static_cast<float>(0.5 - 0.5 * std::cos(std::numbers::pi * phase));
        }
        return made;
    }();
    return values;
}

} // namespace

void SoundSeam::cut() {
    for (std::size_t i = 0; i < rampFrames; ++i) {
        const std::size_t from = (heardNext + rampFrames - 1 - i) % rampFrames;
        for (std::size_t channel = 0; channel < 2; ++channel)
            echo.at(2 * i + channel) = heard.at(2 * from + channel) * (1 - ramp().at(i));
    }
    echoed = 0;
}

void SoundSeam::pass(std::span<float> samples) {
    for (std::size_t at = 0; at + 1 < samples.size(); at += 2) {
        if (fadedIn < rampFrames) {
            const float level = ramp()[fadedIn++];
            samples[at] *= level;
            samples[at + 1] *= level;
        }
        if (echoed < rampFrames) {
            samples[at] += echo[2 * echoed];
            samples[at + 1] += echo[2 * echoed + 1];
            ++echoed;
        }
        heard[2 * heardNext] = samples[at];
        heard[2 * heardNext + 1] = samples[at + 1];
        heardNext = heardNext + 1 == rampFrames ? 0 : heardNext + 1;
    }
}

} // namespace quillet
