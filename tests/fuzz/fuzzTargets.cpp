#include "tests/fuzz/fuzzTargets.h"

#include "geometry/fatal.h"

#include <array>

namespace quillet::fuzz {

std::span<const FuzzTarget> fuzzTargets() {
    static constexpr std::array targets{
        FuzzTarget{"settings", readSettings, settingsSeeds},
        FuzzTarget{"cameraBuffers", readCameraBuffers, cameraBufferSeeds},
        FuzzTarget{"cameraJpeg", readCameraJpeg, cameraJpegSeeds},
        FuzzTarget{"cameraOffers", readCameraOffers, cameraOfferSeeds},
        FuzzTarget{"soundBuffers", readSoundBuffers, soundBufferSeeds},
        FuzzTarget{"soundFormats", readSoundFormats, soundFormatSeeds},
        FuzzTarget{"defaultNames", readDefaultNames, defaultNameSeeds},
        FuzzTarget{"windowAnswers", readWindowAnswers, windowAnswerSeeds},
        FuzzTarget{"windowNews", readWindowNews, windowNewsSeeds},
    };
    return targets;
}

void expect(bool isKept, const char* promise) {
    if (!isKept) fatal(promise);
}

} // namespace quillet::fuzz
