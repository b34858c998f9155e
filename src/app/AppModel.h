// AppModel.h: the one model of the program: what the user can set, the tools on the screen, and the recording that
// runs.
#pragma once

#include "app/AppEnvironment.h"
#include "app/AppState.h"
#include "geometry/Screen.h"
#include "media/Error.h"
#include "pipeline/RecordingSession.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace quillet {

/// Settings flow from the store to the state once, and back with every change of a kept field. Whatever happens is told
/// through statusText alone.
///
/// Threads: main. Completions from other threads come through the main queue and hold the model weakly.
class AppModel : public std::enable_shared_from_this<AppModel> {
public:
    /// Loads the settings and makes the region tool; writes nothing and shows nothing.
    [[nodiscard]] static std::shared_ptr<AppModel> make(AppEnvironment environment);

    [[nodiscard]] const AppState& state() const { return fields; }
    /// A field is about to change; it still has its old value. Whoever shows the state looks again in the event loop's
    /// next turn.
    std::function<void()> onWillChange;

    /// Once, when the control window is on screen: shows the capture range.
    void onLaunch();
    void selectRange(RangeMode mode);
    /// Another backdrop than the present one.
    void randomBackground();
    void setMicEnabled(bool isEnabled);
    void setQuality(ExportQuality quality);
    void setBeautifyEnabled(bool isEnabled);
    void setBackgroundIndex(std::int64_t index);
    void setCornerRadius(double fraction);
    void setPadding(double fraction);
    void setShadowEnabled(bool isEnabled);
    void setCameraEnabled(bool isEnabled);
    void setTeleprompterEnabled(bool isEnabled);

    /// The record button: stops the recording that runs, else starts one. While one is starting the button does nothing
    /// more; while a file is being completed the next recording may start already.
    void toggleRecording();

    /// Asks a recording that runs or is starting to stop; isBusy tells when its file is complete.
    void endRecording();
    /// The program ends: ends the recording, then hides and drops all tools. The file is not shown in the file manager
    /// any more.
    void teardownOverlays();
    /// The user interface is going away without warning: completes the file of a recording that runs, waiting up to
    /// `patience` for it, and touches no window. `runMainQueue` runs what is waiting in the main queue. The program can
    /// only end afterwards.
    void completeWithoutInterface(std::chrono::milliseconds patience, const std::function<void()>& runMainQueue);
    /// Whether a recording runs, is starting, or its file is not complete yet.
    [[nodiscard]] bool isBusy() const { return busySessions > 0; }
    /// isBusy has become false.
    std::function<void()> onIdle;

private:
    using SessionReference = std::weak_ptr<RecordingSession>;

    explicit AppModel(AppEnvironment environment);

    template <typename T>
    void assign(T AppState::*field, T value) {
        if (onWillChange) onWillChange();
        fields.*field = std::move(value);
    }
    template <typename T>
    void assignAndSave(T AppState::*field, T value);
    void setStatus(std::string text) { assign(&AppState::statusText, std::move(text)); }
    [[nodiscard]] Screen currentScreen() const;
    void showRegion();

    void prepareRecording();
    void startRecording(const std::shared_ptr<RecordingFile>& file);
    [[nodiscard]] std::shared_ptr<CameraManager> attachSources();
    void restSources();
    [[nodiscard]] std::set<std::uint32_t> windowsToExclude() const;
    void captureStarted(const SessionReference& started, const std::optional<Error>& error);
    void showDiskCondition();
    void stopRecording();
    void sessionEnded(const SessionReference& ended, const std::optional<std::filesystem::path>& url,
                      const std::optional<Error>& error);
    void leaveBusy();
    void openCamera();
    void closeCamera();

    const AppEnvironment environment;
    AppState fields;

    const std::unique_ptr<RegionTool> regionController;
    std::unique_ptr<CameraTool> cameraController;
    // Shared with the sessions that record its picture and its sound.
    std::shared_ptr<CameraManager> cameraManager;
    // The newest: starting, running, or completing its file. Shared with the callbacks of its own threads.
    std::shared_ptr<RecordingSession> session;
    std::unique_ptr<TeleprompterTool> teleprompterController;

    bool isPreparing = false; ///< the next recording's file is being made
    bool isStopping = false;  ///< the session has been asked to stop
    bool isTornDown = false;
    bool isWithoutInterface = false;
    int busySessions = 0;
    int cameraRequests = 0;                                       ///< so far; only the newest one's answer counts
    int filesMade = 0;                                            ///< so far; only the newest one's disk counts
    mp4::DiskCondition diskCondition = mp4::DiskCondition::ample; ///< of the newest file's disk
    std::weak_ptr<RecordingSession> stoppedForRoom;               ///< ended because its disk is nearly full
    std::shared_ptr<void> awake;
};

} // namespace quillet
