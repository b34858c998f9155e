// Recording.h: frames and sounds by formula, and a writer that is fed patiently.
#pragma once

#include "media/AudioSampleBuffer.h"
#include "media/PixelBuffer.h"
#include "pipeline/RecordingWriter.h"
#include "tests/fakes/TemporaryFolder.h"
#include "tests/fakes/paintedFrames.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <future>
#include <optional>
#include <thread>
#include <utility>

namespace quillet::fakes {

inline PixelBufferRef copyOf(const PixelBuffer& frame) {
    PixelBufferRef copy = PixelBuffer::make(frame.width(), frame.height());
    for (int y = 0; y < frame.height(); ++y)
        std::memcpy(copy->row(y), frame.row(y), static_cast<std::size_t>(frame.width()) * 4);
    return copy;
}

/// A frame whose grey tells its number: 16 steps of 15.
inline PixelBufferRef numberedFrame(int width, int height, int number) {
    const auto grey = static_cast<std::uint8_t>(15 + number % 16 * 15);
    return solidFrame(width, height, {grey, grey, grey});
}

/// Waits until the queue has room, then appends. The wait's end depends only on the writer's progress.
inline bool appendPatiently(RecordingWriter& writer, const PixelBufferRef& frame, MediaTime time) {
    while (!writer.isReadyForMoreVideo())
        std::this_thread::yield();
    return writer.appendVideo(frame, time);
}

using Sample = std::function<std::array<float, 2>(std::int64_t)>;

/// `frames` samples from number `first` on, at first / 48000 s after `origin`.
inline AudioSampleBuffer soundOf(std::int64_t first, std::int64_t frames, const Sample& sample,
                                 MediaTime origin = {0, 48000}) {
    AudioSampleBuffer buffer;
    buffer.frames = frames;
    buffer.presentationTime = origin + MediaTime{first, 48000};
    buffer.samples.resize(static_cast<std::size_t>(frames) * 2 * sizeof(float));
    for (std::int64_t i = 0; i < frames; ++i) {
        const std::array<float, 2> pair = sample(first + i);
        std::memcpy(buffer.samples.data() + static_cast<std::size_t>(i) * sizeof(pair), pair.data(), sizeof(pair));
    }
    return buffer;
}

inline std::array<float, 2> tone(std::int64_t sample) {
    const auto value = static_cast<float>(0.5 * std::sin(2 * M_PI * 1000 * static_cast<double>(sample) / 48000));
    return {value, value};
}

struct Outcome {
    std::optional<std::filesystem::path> url;
    std::optional<Error> error;
};

/// Finishes and waits for the completion.
inline Outcome finishAndWait(RecordingWriter& writer) {
    std::promise<Outcome> outcome;
    writer.finish([&](std::optional<std::filesystem::path> url, std::optional<Error> error) {
        outcome.set_value({std::move(url), std::move(error)});
    });
    return outcome.get_future().get();
}

} // namespace quillet::fakes
