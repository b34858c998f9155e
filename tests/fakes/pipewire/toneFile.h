// toneFile.h: files for pw-play.
#pragma once

#include <filesystem>

namespace quillet::testing {

struct ToneOptions {
    double leftHertz = 1000; ///< 0 is silence
    double rightHertz = 1000;
    double amplitude = 0.5;
    double seconds = 60;
    int sampleRate = 48000;
    int channels = 2; ///< 1: the left one
};

/// Writes a WAV file, 32-bit float.
void writeTone(const std::filesystem::path& file, const ToneOptions& options);

} // namespace quillet::testing
