// chooseCamera.h: the one place that decides where the camera's pictures come from.
#pragma once

#include "pipeline/CameraManager.h"

namespace quillet {

/// The session's cameras, or a synthetic one when the environment variable QUILLET_SOURCES is "synthetic". Called once
/// at the program's start: the session is asked from then on, so that attaching does not have to wait.
///
/// Threads: main. What it gives answers null when there is no camera, after 300 ms at most.
[[nodiscard]] decltype(CaptureDeviceFactories::camera) chooseCamera();

} // namespace quillet
