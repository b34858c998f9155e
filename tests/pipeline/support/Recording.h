// Recording.h: frames and sounds by formula, and a writer that is fed patiently.
#pragma once

#include "media/AudioSampleBuffer.h"
#include "media/PixelBuffer.h"
#include "pipeline/RecordingWriter.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include <unistd.h>

namespace quillet::test {

/// A folder of its own for each test, removed afterwards.
class Folder {
public:
    Folder() {
        std::string name = (std::filesystem::temp_directory_path() / "quillet-test-XXXXXX").string();
        path = ::mkdtemp(name.data());
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    [[nodiscard]] std::filesystem::path file(const char* name = "recording.mp4") const { return path / name; }
    std::filesystem::path path;
};

struct Colour {
    int red, green, blue;
};

/// Fills a rectangle of `frame`; alpha is set to something that must not matter.
inline void fill(PixelBuffer& frame, const PixelRect& rect, Colour colour) {
    for (int y = rect.y; y < rect.bottom(); ++y)
        for (int x = rect.x; x < rect.right(); ++x) {
            std::byte* pixel = frame.row(y) + static_cast<std::ptrdiff_t>(x) * 4;
            pixel[0] = static_cast<std::byte>(colour.blue);
            pixel[1] = static_cast<std::byte>(colour.green);
            pixel[2] = static_cast<std::byte>(colour.red);
            pixel[3] = static_cast<std::byte>(x);
        }
}

inline PixelBufferRef solidFrame(int width, int height, Colour colour) {
    PixelBufferRef frame = PixelBuffer::make(width, height);
    fill(*frame, frame->bounds(), colour);
    return frame;
}

inline PixelBufferRef copyOf(const PixelBuffer& frame) {
    PixelBufferRef copy = PixelBuffer::make(frame.width(), frame.height());
    for (int y = 0; y < frame.height(); ++y)
        std::memcpy(copy->row(y), frame.row(y), static_cast<std::size_t>(frame.width()) * 4);
    return copy;
}

/// A frame whose grey tells its number: 16 steps of 15.
inline PixelBufferRef numberedFrame(int width, int height, int number) {
    const int grey = 15 + number % 16 * 15;
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

} // namespace quillet::test
