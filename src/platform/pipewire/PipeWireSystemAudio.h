// PipeWireSystemAudio.h: the system's sound through PipeWire.
#pragma once

#include "pipeline/SystemAudioSource.h"
#include "platform/pipewire/NodeDirectory.h"

#include <memory>

namespace quillet {

/// Sources on the directory's connection, or, where there is none because the library cannot start, of silence.
[[nodiscard]] SystemAudioSourceFactory pipeWireSystemAudioFactory(std::shared_ptr<NodeDirectory> directory);

} // namespace quillet
