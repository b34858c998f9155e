// AppDelegate.h: the control window, and the life of the process tied to it.
#pragma once

#include "app/AppModel.h"
#include "app/SettingsStore.h"

#include <filesystem>
#include <memory>

namespace quillet {

class ControlView;
class ControlWindow;
class SingleInstance;

/// Builds the control window around the one model. Closing the window, a signal to quit or the session's end asks a
/// running recording to stop; the process ends when its file is complete, which takes a moment and never more than a
/// few seconds, and shows nothing meanwhile.
///
/// Threads: main, with a QApplication that outlives it.
class AppDelegate {
public:
    /// `instance` is asked for as long as the program lives and given up as soon as it begins to end.
    explicit AppDelegate(std::unique_ptr<SingleInstance> instance);
    ~AppDelegate();
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;

    /// Shows the window and, as soon as that is painted, the tools.
    void applicationDidFinishLaunching();
    /// Tears the tools down and quits. Once; also for the signals.
    void terminate();
    /// The toolkit ends the process because the display is gone. Completes the film and leaves with status 1.
    [[noreturn]] void endWithoutDisplay();

private:
    [[nodiscard]] AppEnvironment makeEnvironment();
    void connectView();
    void showModel();
    void launchModel();
    void finishBeforeLogout();

    std::unique_ptr<SingleInstance> instance;
    const std::shared_ptr<SettingsStore> settings; // shared with the model and the tools
    const std::unique_ptr<ControlWindow> controlWindow;
    ControlView* view;                     // owned by the window
    const std::shared_ptr<AppModel> model; // shared with tasks on the main queue, which hold it weakly
    bool isShowingSoon = false;
    bool isLaunched = false;
    bool isEnding = false;
    bool sessionEnds = false;
};

} // namespace quillet
