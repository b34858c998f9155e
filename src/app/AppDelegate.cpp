#include "app/AppDelegate.h"

#include "app/ControlWindow.h"
#include "app/SingleInstance.h"
#include "app/floatingTools.h"
#include "app/mainThread.h"
#include "platform/Desktop.h"
#include "platform/Screens.h"
#include "platform/SleepInhibitor.h"
#include "platform/chooseCamera.h"
#include "platform/chooseSound.h"
#include "platform/chooseSources.h"
#include "ui/ControlView.h"

#include <QApplication>
#include <QEventLoop>
#include <QRandomGenerator>
#include <QSessionManager>
#include <QStandardPaths>
#include <QThread>
#include <QTimer>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <utility>

namespace quillet {

namespace {

/// The file can be played at any moment, so a writer that hangs (a network folder that went away) is not waited for
/// long.
constexpr std::chrono::seconds patienceAtExit{5};
/// A window that starts minimised is not painted, and the tools are wanted all the same.
constexpr std::chrono::milliseconds patienceAtStart{1000};

/// A folder that has not answered by then counts as one that cannot be written to.
constexpr std::chrono::seconds patienceWithFolder{5};

// For the handler below, which takes no arguments. Main thread only.
AppDelegate* delegateOfProcess = nullptr;

/// The toolkit calls exit() when the display has gone, past everything that would complete a film.
extern "C" void onExit() {
    if (delegateOfProcess && QThread::currentThread() == qApp->thread()) delegateOfProcess->endWithoutDisplay();
}

/// AppEnvironment::makeFile on a thread of its own.
void makeFileAside(std::function<void(mp4::DiskCondition)> onCondition,
                   const std::function<void(std::shared_ptr<RecordingFile>)>& then) {
    // Answered once, on the main thread: with the file or when patience ends.
    const auto answer = [once =
                             std::make_shared<std::function<void(std::shared_ptr<RecordingFile>)>>(then)](auto file) {
        if (const auto waiting = std::exchange(*once, nullptr)) waiting(std::move(file));
    };
    // Nobody can end a thread that hangs in a call into the system, so nobody waits for it.
    std::thread([answer, onCondition = std::move(onCondition), mainQueue = qtMainQueue()]() mutable {
        auto file = std::make_shared<RecordingFile>(makeRecordingFile(desktopFolder(), std::move(onCondition)));
        mainQueue([answer, file = std::move(file)] { answer(file); });
    }).detach();
    QTimer::singleShot(patienceWithFolder, qApp, [answer] { answer(std::make_shared<RecordingFile>()); });
}

std::filesystem::path settingsFile() {
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return std::filesystem::path(folder.toStdString()) / "quillet" / "settings";
}

} // namespace

AppDelegate::AppDelegate(std::unique_ptr<SingleInstance> onlyInstance)
    : instance(std::move(onlyInstance)), settings(std::make_shared<SettingsStore>(settingsFile())),
      controlWindow(std::make_unique<ControlWindow>(settings)), view(new ControlView(controlWindow.get())),
      model(AppModel::make(makeEnvironment())) {
    connectView();
    controlWindow->onClose = [this] { terminate(); };
    if (instance) instance->onActivate = [this] { controlWindow->bringUp(); };
    controlWindow->setCentralWidget(view);
    // The last window's going away is no reason to leave before the file is complete.
    QApplication::setQuitOnLastWindowClosed(false);
    QObject::connect(
        qApp, &QGuiApplication::commitDataRequest, controlWindow.get(),
        [this](QSessionManager& manager) {
            manager.setRestartHint(QSessionManager::RestartNever);
            finishBeforeLogout();
        },
        Qt::DirectConnection);
    showModel();
    delegateOfProcess = this;
    std::atexit(onExit);
}

AppDelegate::~AppDelegate() { delegateOfProcess = nullptr; }

AppEnvironment AppDelegate::makeEnvironment() {
    return {
        .recording = {.screenSource = chooseScreenSource(),
                      .desktopFolder = {},
                      .mainQueue = qtMainQueue(),
                      .systemAudio = chooseSystemAudio()},
        .devices = {.camera = chooseCamera(), .microphone = chooseMicrophone()},
        .settings = settings,
        .screens = [] { return currentScreens().list; },
        .makeFile = makeFileAside,
        .reveal =
            [this](const std::filesystem::path& file) {
                if (!sessionEnds) revealFile(file);
            },
        .keepAwake = [] { return std::make_shared<SleepInhibitor>("正在录制屏幕"); },
        .makeRegion = makeRegionTool,
        .makeCamera = [this](const std::shared_ptr<CameraManager>& camera) { return makeCameraTool(camera, settings); },
        .makeTeleprompter = makeTeleprompterTool,
        .controlWindowIDs = [this]() -> std::vector<std::uint32_t> {
            return {static_cast<std::uint32_t>(controlWindow->winId())};
        },
        .drawBackground = [] { return QRandomGenerator::global()->bounded(9); }};
}

void AppDelegate::connectView() {
    model->onWillChange = [this] {
        // Several changes in a row are shown at once.
        if (std::exchange(isShowingSoon, true)) return;
        QMetaObject::invokeMethod(
            view, [this] { showModel(); }, Qt::QueuedConnection);
    };
    // A control that hears nothing goes back to what it showed before.
    const auto shows = [this](auto action) {
        return [this, action](auto... value) {
            launchModel();
            (model.get()->*action)(value...);
            showModel();
        };
    };
    view->onSelectRange = shows(&AppModel::selectRange);
    view->onSetCameraEnabled = shows(&AppModel::setCameraEnabled);
    view->onSetMicEnabled = shows(&AppModel::setMicEnabled);
    view->onSetTeleprompterEnabled = shows(&AppModel::setTeleprompterEnabled);
    view->onSetQuality = shows(&AppModel::setQuality);
    view->onSetBeautifyEnabled = shows(&AppModel::setBeautifyEnabled);
    view->onSetBackgroundIndex = shows(&AppModel::setBackgroundIndex);
    view->onSetCornerRadius = shows(&AppModel::setCornerRadius);
    view->onSetPadding = shows(&AppModel::setPadding);
    view->onSetShadowEnabled = shows(&AppModel::setShadowEnabled);
    view->onRandomBackground = shows(&AppModel::randomBackground);
    view->onToggleRecording = shows(&AppModel::toggleRecording);
}

void AppDelegate::applicationDidFinishLaunching() {
    // The tools are windows of their own, whose making takes longer than the first picture of the panel.
    controlWindow->onFirstPainted = [this] { launchModel(); };
    controlWindow->bringUp();
    QTimer::singleShot(patienceAtStart, controlWindow.get(), [this] { launchModel(); });
}

void AppDelegate::launchModel() {
    if (isEnding || std::exchange(isLaunched, true)) return;
    model->onLaunch();
}

void AppDelegate::showModel() {
    isShowingSoon = false;
    view->show(model->state());
    // When the rows have found their places.
    QTimer::singleShot(0, view, [this] { controlWindow->fitHeight(view->contentHeight()); });
}

void AppDelegate::terminate() {
    if (std::exchange(isEnding, true)) return;
    instance.reset();
    model->teardownOverlays();
    controlWindow->hide();
    if (!model->isBusy()) return QApplication::exit();
    model->onIdle = [] { QApplication::exit(); };
    QTimer::singleShot(patienceAtExit, qApp, [] { QApplication::exit(); });
}

void AppDelegate::endWithoutDisplay() {
    const bool isRecording = model->isBusy();
    // Only the main queue's own events: others would have windows drawn.
    model->completeWithoutInterface(patienceAtExit, [] { QCoreApplication::sendPostedEvents(qApp, QEvent::MetaCall); });
    settings->flush();
    std::fprintf(stderr, "quillet: the display is gone%s\n", isRecording ? "; the recording ends there" : "");
    // Other threads are at work, so nothing is taken down beneath them.
    std::_Exit(1);
}

/// The session may end as soon as this returns; or it may go on, when another program or the user objects.
void AppDelegate::finishBeforeLogout() {
    if (model->isBusy()) {
        sessionEnds = true;
        model->endRecording();
        QEventLoop untilIdle;
        const auto then = std::exchange(model->onIdle, [&] { untilIdle.quit(); });
        QTimer::singleShot(patienceAtExit, &untilIdle, [&] { untilIdle.quit(); });
        if (model->isBusy()) untilIdle.exec(QEventLoop::ExcludeUserInputEvents);
        model->onIdle = then;
        sessionEnds = false;
    }
    settings->flush();
}

} // namespace quillet
