// AppEnvironment.h: what the model asks of the world around it.
#pragma once

#include "app/SettingsStore.h"
#include "app/recordingFile.h"
#include "app/tools.h"
#include "geometry/Screen.h"
#include "pipeline/CameraManager.h"
#include "pipeline/RecordingSession.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace quillet {

/// Everything but `makeSession`, `keepAwake` and `cameraAccess` must be set. All are called on the main thread.
struct AppEnvironment {
    /// What every session gets; its folder, file and time are filled in for each recording.
    RecordingEnvironment recording;
    std::function<std::shared_ptr<RecordingSession>(const RecordingOptions&, RecordingEnvironment, Error*)>
        makeSession = &RecordingSession::make;
    CaptureDeviceFactories devices;

    std::shared_ptr<SettingsStore> settings; ///< shared with the tools, which keep settings of their own there
    std::function<ScreenList()> screens;
    /// Makes the next recording's file, or none, and hands it to `then` on the main thread, at once or later; at the
    /// latest when the user should not wait any longer for a disk that does not answer. `onCondition` as mp4::DiskFile
    /// calls it.
    std::function<void(std::function<void(mp4::DiskCondition)> onCondition,
                       std::function<void(std::shared_ptr<RecordingFile>)> then)>
        makeFile;
    std::function<void(const std::filesystem::path&)> reveal; ///< shows a file in the user's file manager
    std::function<std::shared_ptr<void>()> keepAwake = {};    ///< neither sleep nor screen lock while it is held
    /// Asks the user for the camera where the system wants that, and calls the handler whatever the answer is; on any
    /// thread. Not set: nobody needs to be asked.
    std::function<void(std::function<void()>)> cameraAccess = {};

    std::function<std::unique_ptr<RegionTool>()> makeRegion;
    std::function<std::unique_ptr<CameraTool>(const std::shared_ptr<CameraManager>&)> makeCamera;
    std::function<std::unique_ptr<TeleprompterTool>()> makeTeleprompter;
    std::function<std::vector<std::uint32_t>()> controlWindowIDs; ///< of every window with the title "Quillet"

    std::function<int()> drawBackground; ///< one of 0 … 8, each as likely as the others
};

} // namespace quillet
