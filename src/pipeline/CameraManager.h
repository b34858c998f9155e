// CameraManager.h: the newest camera picture, and the microphone's sound.
#pragma once

#include "media/AudioSampleBuffer.h"
#include "media/PixelBuffer.h"
#include "media/SerialQueue.h"
#include "pipeline/CircleShelf.h"

#include <functional>
#include <memory>
#include <mutex>

namespace quillet {

/// A camera or microphone that a platform has opened. start and stop are called on the queue that it was made with, in
/// turns; callbacks come on that queue, between start and stop, and never after its destruction there.
class CaptureDevice {
public:
    virtual ~CaptureDevice() = default;
    virtual void start() = 0;
    virtual void stop() = 0;
};

/// How a platform opens its default devices; a factory that is not set, or that answers null, means that there is none.
/// Called on the thread that attaches.
struct CaptureDeviceFactories {
    /// `onFrame` wants BGRA; frames carry `sequence`, so that a consumer knows a new picture from an old one.
    std::function<std::unique_ptr<CaptureDevice>(SerialQueue& queue, std::function<void(ConstPixelBufferRef)> onFrame)>
        camera;
    /// `onSample` takes any PCM format.
    std::function<std::unique_ptr<CaptureDevice>(SerialQueue& queue, std::function<void(AudioSampleBuffer)> onSample)>
        microphone;
};

/// Holds the default camera and, when wanted, the default microphone; each is attached at most once and never detached.
/// Only the newest picture is kept: nothing accumulates however slow its readers are.
///
/// Threads: attach…, start and stop on the main thread; latestFrame from any; device callbacks on sampleQueue.
class CameraManager {
public:
    explicit CameraManager(CaptureDeviceFactories factories);
    ~CameraManager();

    /// True when attached, also when it already was.
    [[nodiscard]] bool attachCamera();
    [[nodiscard]] bool attachMicrophone();
    [[nodiscard]] bool cameraAttached() const { return camera != nullptr; }
    [[nodiscard]] bool micAttached() const { return microphone != nullptr; }

    /// Starts whatever is attached and not running yet, in the background; does nothing when nothing is attached.
    void start();
    /// Stops what runs, in the background.
    void stop();

    /// The newest picture, or null before the first.
    [[nodiscard]] ConstPixelBufferRef latestFrame() const;

    /// For those who show the pictures as circles.
    [[nodiscard]] const std::shared_ptr<CircleShelf>& circles() const { return circleShelf; }

    /// Each new picture, after latestFrame has it, for a live view; on sampleQueue, no lock held but the one that makes
    /// replacing it safe. Once this returns, the callback before is neither running nor called again, so it must not
    /// wait for the thread that replaces it. Settable at any time but from within itself. It should only take the
    /// reference: the next picture waits.
    void setOnCameraFrame(std::function<void(const ConstPixelBufferRef&)> callback);

    /// Each microphone buffer, on sampleQueue, no lock held but the one that makes replacing it safe; settable at any
    /// time.
    void setOnMicrophoneSample(std::function<void(AudioSampleBuffer)> callback);

private:
    CaptureDeviceFactories factories;
    // Shared: a bubble or a film may outlive this manager.
    const std::shared_ptr<CircleShelf> circleShelf = std::make_shared<CircleShelf>();

    mutable std::mutex frameLock; // guards newestFrame, held for the exchange of the reference only
    ConstPixelBufferRef newestFrame;

    std::mutex callbackLock; // guards the next two
    std::function<void(const ConstPixelBufferRef&)> onCameraFrame;
    std::function<void(AudioSampleBuffer)> onMicrophoneSample;

    // Made on the main thread; started, stopped and destroyed on the queue.
    std::unique_ptr<CaptureDevice> camera;
    std::unique_ptr<CaptureDevice> microphone;
    bool cameraRunning = false;     // the queue only
    bool microphoneRunning = false; // the queue only

    SerialQueue sampleQueue;
};

} // namespace quillet
