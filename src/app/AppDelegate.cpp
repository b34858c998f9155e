#include "app/AppDelegate.h"

#include "app/mainThread.h"
#include "platform/Desktop.h"
#include "platform/Screens.h"
#include "platform/chooseSources.h"
#include "ui/ControlView.h"

#include <QApplication>
#include <QCloseEvent>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>

#include <chrono>
#include <utility>

namespace quillet {

namespace {

/// The file can be played at any moment, so a writer that hangs (a network folder that went away) is not waited for
/// long.
constexpr std::chrono::seconds patienceAtExit{5};

/// The frame of the screen that `window` is on.
Rect frameOfScreenOf(const QWidget& window, const ScreenList& screens) {
    const std::string name = window.screen()->name().toStdString();
    for (const Screen& screen : screens.screens)
        if (screen.name == name) return screen.frame;
    const Screen* const other = screens.mainOrFirst();
    return other ? other->frame : Rect{};
}

} // namespace

/// The one control window; closing it ends the program.
class AppDelegate::ControlWindow : public QWidget {
public:
    explicit ControlWindow(std::function<void()> closing) : onClose(std::move(closing)) {}

protected:
    void closeEvent(QCloseEvent* event) override {
        event->accept();
        onClose();
    }

private:
    std::function<void()> onClose;
};

AppDelegate::AppDelegate()
    : controlWindow(std::make_unique<ControlWindow>([this] { windowWillClose(); })),
      view(new ControlView(controlWindow.get())) {
    model = AppModel::make({.screenSource = chooseScreenSource(),
                            .mainQueue = qtMainQueue(),
                            .screens = [] { return currentScreens().list; },
                            .region = [this] { return frameOfScreenOf(*controlWindow, currentScreens().list); },
                            .desktopFolder = [] { return desktopFolder(); },
                            .reveal = [](const std::filesystem::path& file) { revealFile(file); }});
    model->onChange = [this] { showModel(); };
    view->onToggleRecording = [this] { model->toggleRecording(); };

    controlWindow->setWindowTitle(QStringLiteral("Quillet"));
    controlWindow->setAccessibleName(QStringLiteral("Quillet"));
    auto* const layout = new QVBoxLayout(controlWindow.get());
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(view);
    controlWindow->resize(360, controlWindow->sizeHint().height());
    // The last window's going away is no reason to leave before the file is complete.
    QApplication::setQuitOnLastWindowClosed(false);
    showModel();
}

AppDelegate::~AppDelegate() = default;

void AppDelegate::showControlWindow() {
    controlWindow->show();
    controlWindow->activateWindow();
}

void AppDelegate::showModel() {
    ControlState state;
    state.isRecording = model->isRecording();
    state.statusText = model->statusText();
    view->show(state);
}

void AppDelegate::windowWillClose() {
    model->teardown();
    if (!model->hasSession()) return QApplication::quit();
    model->onSessionEnded = [] { QApplication::quit(); };
    QTimer::singleShot(patienceAtExit, qApp, [] { QApplication::quit(); });
}

} // namespace quillet
