#include "platform/chooseSound.h"

#include "platform/pipewire/NodeDirectory.h"
#include "platform/pipewire/PipeWireMicrophone.h"
#include "platform/pipewire/PipeWireSystemAudio.h"
#include "platform/synthetic/SyntheticSound.h"

#include <cstdlib>
#include <string_view>

namespace quillet {

namespace {

bool isSyntheticChosen() {
    const char* choice = std::getenv("QUILLET_SOURCES");
    return choice && std::string_view(choice) == "synthetic";
}

} // namespace

SystemAudioSourceFactory chooseSystemAudio() {
    if (isSyntheticChosen()) return syntheticSystemAudioFactory();
    return pipeWireSystemAudioFactory(NodeDirectory::ofProgram());
}

decltype(CaptureDeviceFactories::microphone) chooseMicrophone() {
    if (isSyntheticChosen()) return syntheticMicrophoneFactory();
    return pipeWireMicrophoneFactory(NodeDirectory::ofProgram());
}

} // namespace quillet
