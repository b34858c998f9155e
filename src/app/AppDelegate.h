// AppDelegate.h: the control window, and the life of the process tied to it.
#pragma once

#include "app/AppModel.h"

#include <memory>

class QWidget;

namespace quillet {

class ControlView;

/// Builds and shows the control window around the one model. Closing the window asks a running recording to stop; the
/// process ends when its file is complete, which takes a moment and never more than a few seconds.
///
/// Threads: main, with a QApplication that outlives it.
class AppDelegate {
public:
    AppDelegate();
    ~AppDelegate();
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;

    void showControlWindow();

private:
    class ControlWindow;

    void windowWillClose();
    void showModel();

    std::shared_ptr<AppModel> model; // shared with tasks on the main queue, which hold it weakly
    std::unique_ptr<ControlWindow> controlWindow;
    ControlView* view; // owned by the window
};

} // namespace quillet
