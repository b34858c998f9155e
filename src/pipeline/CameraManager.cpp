#include "pipeline/CameraManager.h"

#include "pipeline/queueLabels.h"

#include <utility>

namespace quillet {

CameraManager::CameraManager(CaptureDeviceFactories devices)
    : factories(std::move(devices)), sampleQueue(cameraQueueLabel) {}

CameraManager::~CameraManager() {
    sampleQueue.sync([this] {
        camera.reset();
        microphone.reset();
    });
}

bool CameraManager::attachCamera() {
    if (camera) return true;
    if (!factories.camera) return false;
    camera = factories.camera(sampleQueue, [this](const ConstPixelBufferRef& frame) {
        if (!frame) return;
        ConstPixelBufferRef older = frame;
        {
            const std::lock_guard guard(frameLock);
            newestFrame.swap(older); // the older one goes after the lock
        }
        older.reset();
        const std::lock_guard guard(callbackLock);
        if (onCameraFrame) onCameraFrame(frame);
    });
    return camera != nullptr;
}

bool CameraManager::attachMicrophone() {
    if (microphone) return true;
    if (!factories.microphone) return false;
    microphone = factories.microphone(sampleQueue, [this](AudioSampleBuffer buffer) {
        const std::lock_guard guard(callbackLock);
        if (onMicrophoneSample) onMicrophoneSample(std::move(buffer));
    });
    return microphone != nullptr;
}

void CameraManager::start() {
    CaptureDevice* const attachedCamera = camera.get();
    CaptureDevice* const attachedMicrophone = microphone.get();
    if (!attachedCamera && !attachedMicrophone) return;
    sampleQueue.async([=, this] {
        if (attachedCamera && !std::exchange(cameraRunning, true)) attachedCamera->start();
        if (attachedMicrophone && !std::exchange(microphoneRunning, true)) attachedMicrophone->start();
    });
}

void CameraManager::stop() {
    CaptureDevice* const attachedCamera = camera.get();
    CaptureDevice* const attachedMicrophone = microphone.get();
    sampleQueue.async([=, this] {
        if (attachedCamera && std::exchange(cameraRunning, false)) attachedCamera->stop();
        if (attachedMicrophone && std::exchange(microphoneRunning, false)) attachedMicrophone->stop();
    });
}

ConstPixelBufferRef CameraManager::latestFrame() const {
    const std::lock_guard guard(frameLock);
    return newestFrame;
}

void CameraManager::setOnCameraFrame(std::function<void(const ConstPixelBufferRef&)> callback) {
    const std::lock_guard guard(callbackLock);
    onCameraFrame.swap(callback);
}

void CameraManager::setOnMicrophoneSample(std::function<void(AudioSampleBuffer)> callback) {
    const std::lock_guard guard(callbackLock);
    onMicrophoneSample.swap(callback);
}

} // namespace quillet
