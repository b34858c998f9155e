// The settings and the tools; starting and stopping a recording is in recordingControl.cpp.
#include "app/AppModel.h"

#include "app/settings.h"
#include "beautify/BackgroundLibrary.h"
#include "geometry/fatal.h"

#include <utility>

namespace quillet {

std::shared_ptr<AppModel> AppModel::make(AppEnvironment environment) {
    return std::shared_ptr<AppModel>(new AppModel(std::move(environment)));
}

AppModel::AppModel(AppEnvironment surroundings)
    : environment(std::move(surroundings)), fields(loadSettings(*environment.settings)),
      regionController(environment.makeRegion()) {}

template <typename T>
void AppModel::assignAndSave(T AppState::*field, T value) {
    assign(field, std::move(value));
    saveSettings(*environment.settings, fields);
}

void AppModel::setMicEnabled(bool isEnabled) { assignAndSave(&AppState::micEnabled, isEnabled); }
void AppModel::setQuality(ExportQuality quality) { assignAndSave(&AppState::quality, quality); }
void AppModel::setBeautifyEnabled(bool isEnabled) { assignAndSave(&AppState::beautifyEnabled, isEnabled); }
void AppModel::setBackgroundIndex(std::int64_t index) { assignAndSave(&AppState::backgroundIndex, index); }
void AppModel::setCornerRadius(double fraction) { assignAndSave(&AppState::cornerRadius, fraction); }
void AppModel::setPadding(double fraction) { assignAndSave(&AppState::padding, fraction); }
void AppModel::setShadowEnabled(bool isEnabled) { assignAndSave(&AppState::shadowEnabled, isEnabled); }

Screen AppModel::currentScreen() const {
    const ScreenList screens = environment.screens();
    const Screen* screen = screens.containing(regionController->frame().centre());
    if (!screen) screen = screens.mainOrFirst();
    // The toolkit always has one, even when every monitor is unplugged.
    if (!screen) fatal("no screen at all");
    return *screen;
}

void AppModel::showRegion() {
    regionController->orderFront();
    regionController->updateHandles();
}

void AppModel::onLaunch() {
    regionController->apply(fields.rangeMode, currentScreen());
    showRegion();
    showRegion();
}

void AppModel::selectRange(RangeMode mode) {
    assignAndSave(&AppState::rangeMode, mode);
    regionController->apply(mode, currentScreen());
    showRegion();
}

void AppModel::randomBackground() {
    std::int64_t index = environment.drawBackground();
    if (index == fields.backgroundIndex) index = (index + 1) % BackgroundLibrary::presetCount;
    setBackgroundIndex(index);
}

void AppModel::setCameraEnabled(bool isEnabled) {
    assign(&AppState::cameraEnabled, isEnabled);
    const int request = ++cameraRequests;
    if (!isEnabled) return closeCamera();
    const auto answered = [weak = weak_from_this(), request, mainQueue = environment.recording.mainQueue] {
        mainQueue([weak, request] {
            const auto self = weak.lock();
            // Switched off, or off and on again, before the answer came.
            if (self && self->cameraRequests == request) self->openCamera();
        });
    };
    if (environment.cameraAccess)
        environment.cameraAccess(answered);
    else
        answered();
}

void AppModel::openCamera() {
    const auto manager = std::make_shared<CameraManager>(environment.devices);
    if (!manager->attachCamera()) {
        setStatus("无法访问摄像头（检查系统设置里的相机权限）。");
        assign(&AppState::cameraEnabled, false);
        return;
    }
    manager->start();
    cameraManager = manager;
    std::unique_ptr<CameraTool> bubble = environment.makeCamera(manager);
    bubble->placeDefault(currentScreen());
    const auto follow = [weak = weak_from_this()](const Rect& frame) {
        const auto self = weak.lock();
        if (self && self->session) self->session->updateCameraRect(frame);
    };
    bubble->onLiveMove = follow;
    bubble->onFrameCommitted = follow;
    bubble->orderFront();
    cameraController = std::move(bubble);
}

void AppModel::closeCamera() {
    cameraController.reset();
    if (cameraManager) cameraManager->stop();
    cameraManager.reset();
}

void AppModel::setTeleprompterEnabled(bool isEnabled) {
    assign(&AppState::teleprompterEnabled, isEnabled);
    teleprompterController.reset();
    if (!isEnabled) return;
    teleprompterController = environment.makeTeleprompter();
    teleprompterController->showOn(currentScreen());
}

void AppModel::teardownOverlays() {
    isTornDown = true;
    endRecording();
    regionController->orderOut();
    ++cameraRequests; // an answer that is still to come finds nobody
    closeCamera();
    assign(&AppState::cameraEnabled, false);
    teleprompterController.reset();
    assign(&AppState::teleprompterEnabled, false);
}

} // namespace quillet
