// floatingTools.h: the real windows behind the tools that the model asks for.
#pragma once

#include "app/SettingsStore.h"
#include "app/tools.h"
#include "pipeline/CameraManager.h"

#include <memory>

namespace quillet {

// Threads: main, with a QApplication.

[[nodiscard]] std::unique_ptr<RegionTool> makeRegionTool();
/// The bubble shows `camera`'s pictures as they come and keeps its diameter in `settings`.
[[nodiscard]] std::unique_ptr<CameraTool> makeCameraTool(const std::shared_ptr<CameraManager>& camera,
                                                         const std::shared_ptr<SettingsStore>& settings);
[[nodiscard]] std::unique_ptr<TeleprompterTool> makeTeleprompterTool();

} // namespace quillet
