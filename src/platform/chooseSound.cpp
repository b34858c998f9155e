#include "platform/chooseSound.h"

#include "platform/pipewire/NodeDirectory.h"
#include "platform/pipewire/PipeWireMicrophone.h"
#include "platform/pipewire/PipeWireSystemAudio.h"

namespace quillet {

SystemAudioSourceFactory chooseSystemAudio() { return pipeWireSystemAudioFactory(NodeDirectory::ofProgram()); }

decltype(CaptureDeviceFactories::microphone) chooseMicrophone() {
    return pipeWireMicrophoneFactory(NodeDirectory::ofProgram());
}

} // namespace quillet
