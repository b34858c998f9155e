// PipeWireMicrophone.h: the default microphone through PipeWire.
#pragma once

#include "pipeline/CameraManager.h"
#include "platform/pipewire/NodeDirectory.h"

#include <functional>
#include <memory>

namespace quillet {

/// Whether the default source is a microphone now, not an output's monitor.
///
/// Threads: any but the loop's. At once when the directory is older than a moment, else within 300 ms.
[[nodiscard]] bool hasMicrophone(const NodeDirectory& directory);

/// For CaptureDeviceFactories::microphone: null when there is no microphone now. An attached one may be unplugged and
/// come back; meanwhile nothing is delivered. Buffers carry the time at which they were recorded and are not made to
/// join.
[[nodiscard]] std::function<std::unique_ptr<CaptureDevice>(SerialQueue&, std::function<void(AudioSampleBuffer)>)>
pipeWireMicrophoneFactory(std::shared_ptr<NodeDirectory> directory);

} // namespace quillet
