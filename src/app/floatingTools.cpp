#include "app/floatingTools.h"

#include "tools/CameraPreviewWindow.h"
#include "tools/RegionOverlayWindow.h"
#include "tools/TeleprompterWindow.h"

#include <QMetaObject>

#include <memory>
#include <mutex>
#include <utility>

namespace quillet {

namespace {

/// Its windows are made when they are first asked for, which is after the control window has been painted.
class FloatingRegion : public RegionTool {
public:
    void apply(RangeMode mode, const Screen& screen) override { controller().apply(mode, screen); }
    void orderFront() override { controller().orderFront(); }
    void updateHandles() override { controller().updateHandles(); }
    void setRecording(bool isRecording) override { controller().setRecording(isRecording); }
    void orderOut() override {
        if (made) made->orderOut();
    }
    [[nodiscard]] Rect frame() const override { return controller().frame(); }
    [[nodiscard]] std::vector<std::uint32_t> windowIDs() const override { return controller().windowIDs(); }

private:
    [[nodiscard]] RegionOverlayController& controller() const {
        if (!made) made = std::make_unique<RegionOverlayController>();
        return *made;
    }

    mutable std::unique_ptr<RegionOverlayController> made;
};

class FloatingBubble : public CameraTool {
public:
    FloatingBubble(std::shared_ptr<CameraManager> manager, const std::shared_ptr<SettingsStore>& settings)
        : controller({.read = [settings] { return settings->real(BubbleDiameterStore::key); },
                      .write =
                          [settings](double diameter) {
                              settings->write({{BubbleDiameterStore::key, diameter}});
                          }},
                     manager->circles()),
          camera(std::move(manager)) {
        controller.view.onLiveMove = [this](const Rect& frame) {
            if (onLiveMove) onLiveMove(frame);
        };
        controller.view.onFrameCommitted = [this](const Rect& frame) {
            if (onFrameCommitted) onFrameCommitted(frame);
        };
        camera->setOnCameraFrame([this](const ConstPixelBufferRef& picture) { receive(picture); });
        controller.view.setPicture(camera->latestFrame());
    }
    ~FloatingBubble() override { camera->setOnCameraFrame({}); }
    FloatingBubble(const FloatingBubble&) = delete;
    FloatingBubble& operator=(const FloatingBubble&) = delete;

    void placeDefault(const Screen& screen) override { controller.placeDefault(screen); }
    void orderFront() override { controller.orderFront(); }
    [[nodiscard]] Rect frame() const override { return controller.frame(); }
    [[nodiscard]] std::vector<std::uint32_t> windowIDs() const override { return controller.windowIDs(); }

private:
    /// On the camera's thread. A main thread that is busy gets the newest picture when it has time, not all of them.
    void receive(const ConstPixelBufferRef& picture) {
        const std::lock_guard guard(lock);
        const bool isComing = newest != nullptr;
        newest = picture;
        if (!isComing)
            QMetaObject::invokeMethod(
                &controller.view, [this] { show(); }, Qt::QueuedConnection);
    }
    void show() {
        ConstPixelBufferRef picture;
        {
            const std::lock_guard guard(lock);
            picture.swap(newest);
        }
        controller.view.setPicture(std::move(picture));
    }

    CameraPreviewController controller;
    const std::shared_ptr<CameraManager> camera;

    std::mutex lock; // guards newest
    ConstPixelBufferRef newest;
};

class FloatingScript : public TeleprompterTool {
public:
    void showOn(const Screen& screen) override { controller.showOn(screen); }
    [[nodiscard]] std::vector<std::uint32_t> windowIDs() const override { return controller.windowIDs(); }

private:
    TeleprompterController controller;
};

} // namespace

std::unique_ptr<RegionTool> makeRegionTool() { return std::make_unique<FloatingRegion>(); }

std::unique_ptr<CameraTool> makeCameraTool(const std::shared_ptr<CameraManager>& camera,
                                           const std::shared_ptr<SettingsStore>& settings) {
    return std::make_unique<FloatingBubble>(camera, settings);
}

std::unique_ptr<TeleprompterTool> makeTeleprompterTool() { return std::make_unique<FloatingScript>(); }

} // namespace quillet
