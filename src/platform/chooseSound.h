// chooseSound.h: the one place that decides where sound comes from.
#pragma once

#include "pipeline/CameraManager.h"
#include "pipeline/SystemAudioSource.h"

namespace quillet {

/// What the speakers play, or a formula's sound when the environment variable QUILLET_SOURCES is "synthetic".
///
/// Threads: any but a sound library's own, as long as nobody changes the environment. Both begin to get to know the
/// sound server in the background; who asks at the program's start and keeps the answer never waits later.
[[nodiscard]] SystemAudioSourceFactory chooseSystemAudio();

/// CaptureDeviceFactories::microphone: the default microphone, null where there is none; or a formula's.
[[nodiscard]] decltype(CaptureDeviceFactories::microphone) chooseMicrophone();

} // namespace quillet
