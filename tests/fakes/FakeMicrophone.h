// FakeMicrophone.h: a microphone that a test speaks into.
#pragma once

#include "pipeline/CameraManager.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace quillet::fakes {

/// What a test holds of an attached microphone. Must outlive it. Threads: the test's own.
class MicrophoneStage {
public:
    [[nodiscard]] CaptureDeviceFactories factories() {
        return {.camera = nullptr,
                .microphone = [this](SerialQueue& queue, std::function<void(AudioSampleBuffer)> onSample) {
                    const std::lock_guard guard(mutex);
                    attached = {&queue, std::move(onSample)};
                    return std::make_unique<Device>(*this);
                }};
    }
    /// Delivers on the device's queue, and waits until the receiver is done; nothing while it does not run.
    void say(const AudioSampleBuffer& buffer) {
        std::optional<Attached> current;
        {
            const std::lock_guard guard(mutex);
            current = attached;
        }
        if (!current) return;
        current->queue->sync([&] {
            const std::lock_guard guard(mutex);
            if (isRunning) current->onSample(buffer);
        });
    }

private:
    struct Attached {
        SerialQueue* queue;
        std::function<void(AudioSampleBuffer)> onSample;
    };
    struct Device : CaptureDevice {
        explicit Device(MicrophoneStage& owner) : stage(owner) {}
        ~Device() override {
            const std::lock_guard guard(stage.mutex);
            stage.attached.reset();
        }
        void start() override { set(true); }
        void stop() override { set(false); }
        void set(bool running) {
            const std::lock_guard guard(stage.mutex);
            stage.isRunning = running;
        }
        MicrophoneStage& stage;
    };

    std::mutex mutex; // guards attached and isRunning
    std::optional<Attached> attached;
    bool isRunning = false;
};

} // namespace quillet::fakes
