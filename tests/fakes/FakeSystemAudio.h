// FakeSystemAudio.h: system sound that a test plays buffer by buffer.
#pragma once

#include "pipeline/SystemAudioSource.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace quillet::fakes {

/// What a test holds of a running source. Must outlive it. Threads: the test's own.
class SystemAudioStage {
public:
    [[nodiscard]] SystemAudioSourceFactory factory() {
        return [this](SerialQueue& queue, std::function<void(AudioSampleBuffer)> onBuffer) {
            const std::lock_guard guard(mutex);
            started = {&queue, std::move(onBuffer)};
            return std::make_unique<Running>(*this);
        };
    }
    /// Delivers on the source's queue, and waits until the receiver is done; nothing when no source runs.
    void play(const AudioSampleBuffer& buffer) {
        std::optional<Started> current;
        {
            const std::lock_guard guard(mutex);
            current = started;
        }
        if (current) current->queue->sync([&] { current->onBuffer(buffer); });
    }
    /// Heard, but only handed over when the source is drained.
    void keepForTheEnd(AudioSampleBuffer buffer) {
        const std::lock_guard guard(mutex);
        kept.push_back(std::move(buffer));
    }
    [[nodiscard]] bool isRunning() {
        const std::lock_guard guard(mutex);
        return started.has_value();
    }

private:
    struct Started {
        SerialQueue* queue;
        std::function<void(AudioSampleBuffer)> onBuffer;
    };
    struct Running : SystemAudioSource {
        explicit Running(SystemAudioStage& owner) : stage(owner) {}
        ~Running() override {
            const std::lock_guard guard(stage.mutex);
            stage.started.reset();
        }
        void drain() override {
            std::vector<AudioSampleBuffer> buffers;
            {
                const std::lock_guard guard(stage.mutex);
                buffers.swap(stage.kept);
            }
            for (AudioSampleBuffer& buffer : buffers)
                stage.started->onBuffer(std::move(buffer));
        }
        SystemAudioStage& stage;
    };

    std::mutex mutex; // guards started and kept
    std::optional<Started> started;
    std::vector<AudioSampleBuffer> kept;
};

} // namespace quillet::fakes
