// FakeScreenSource.h: a screen source that a test drives frame by frame.
#pragma once

#include "pipeline/ScreenSource.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace quillet::fakes {

/// What a test holds of a running (or refused, or not yet started) source. Threads: the test's own.
class ScreenStage {
public:
    /// Refuses the next start with this error.
    std::optional<Error> refusal;

    [[nodiscard]] ScreenSourceFactory factory() {
        return [this](SerialQueue& queue, ScreenSourceOptions options, Error& error) -> std::unique_ptr<ScreenSource> {
            const std::lock_guard guard(mutex);
            if (refusal) {
                error = *refusal;
                return nullptr;
            }
            started = {&queue, std::move(options)};
            return std::make_unique<Running>(*this);
        };
    }

    /// Hands a frame over as the source would, and waits until the receiver is done with it.
    void show(const ConstPixelBufferRef& frame, MediaTime time) {
        onQueue([&](const ScreenSourceOptions& options) { options.onFrame(frame, time); });
    }
    void lose(const Error& error) {
        onQueue([&](const ScreenSourceOptions& options) { options.onLost(error); });
    }
    /// Runs on the source's queue after all that was queued before; nothing when no source runs.
    void onQueue(const std::function<void(const ScreenSourceOptions&)>& task) {
        SerialQueue* queue = nullptr;
        {
            const std::lock_guard guard(mutex);
            if (started) queue = started->queue;
        }
        if (!queue) return;
        queue->sync([&] {
            std::optional<Started> current;
            {
                const std::lock_guard guard(mutex);
                current = started;
            }
            if (current) task(current->options);
        });
    }

    /// How often another frame was asked for.
    [[nodiscard]] int framesAskedFor() const { return asked; }
    [[nodiscard]] bool isRunning() {
        const std::lock_guard guard(mutex);
        return started.has_value();
    }
    [[nodiscard]] std::optional<ScreenSourceOptions> options() {
        const std::lock_guard guard(mutex);
        return started ? std::optional(started->options) : std::nullopt;
    }

private:
    struct Started {
        SerialQueue* queue;
        ScreenSourceOptions options;
    };
    struct Running : ScreenSource {
        explicit Running(ScreenStage& owner) : stage(owner) {}
        ~Running() override {
            const std::lock_guard guard(stage.mutex);
            stage.started.reset();
        }
        void makeAnother() override { ++stage.asked; }
        ScreenStage& stage;
    };

    std::mutex mutex; // guards started and refusal
    std::optional<Started> started;
    std::atomic<int> asked = 0;
};

} // namespace quillet::fakes
