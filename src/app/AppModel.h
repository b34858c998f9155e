// AppModel.h: what the user can set, what the control window shows, and the recording that runs.
#pragma once

#include "geometry/Screen.h"
#include "media/Error.h"
#include "pipeline/ExportQuality.h"
#include "pipeline/RecordingSession.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace quillet {

/// What the model asks of the platform.
struct AppEnvironment {
    ScreenSourceFactory screenSource;
    MainQueue mainQueue;
    std::function<ScreenList()> screens;
    std::function<Rect()> region;                         ///< what to record, global screen points
    std::function<std::filesystem::path()> desktopFolder; ///< empty: there is none
    std::function<void(const std::filesystem::path&)> reveal;
};

/// The one model of the program. Starting and stopping report through statusText alone.
///
/// Threads: main.
class AppModel : public std::enable_shared_from_this<AppModel> {
public:
    [[nodiscard]] static std::shared_ptr<AppModel> make(AppEnvironment environment);

    [[nodiscard]] bool isRecording() const { return recording; }
    [[nodiscard]] const std::string& statusText() const { return status; }
    [[nodiscard]] bool hasSession() const { return session != nullptr; }

    /// isRecording or statusText changed.
    std::function<void()> onChange;
    /// A session that was asked to stop has completed its file, or failed to.
    std::function<void()> onSessionEnded;

    /// The record button: starts a recording, or stops the one that runs.
    void toggleRecording();
    /// Asks a running recording to stop; onSessionEnded says when its file is complete.
    void teardown();

private:
    explicit AppModel(AppEnvironment environment);

    void startRecording();
    void stopRecording();
    void captureStarted(const std::optional<Error>& error);
    void sessionEnded(const std::optional<std::filesystem::path>& url, const std::optional<Error>& error);
    void setStatus(std::string text);
    void setRecording(bool isRecording);

    AppEnvironment environment;
    bool recording = false;
    std::string status = "选择范围，开摄像头摆头像，然后开始。";
    // Shared only with the callbacks of its own threads, which hold it weakly.
    std::shared_ptr<RecordingSession> session;
};

} // namespace quillet
