// What a recorded frame costs on its way into the file: conversion beside a copy of the same frame in the same run, and
// the encoder for a still screen, typing, and a picture that moves as a whole.

#include "bench/copySeconds.h"
#include "pipeline/encode/EncoderPicture.h"
#include "pipeline/encode/X264Encoder.h"
#include "pipeline/kernels/BgraToNv12.h"
#include "pipeline/mp4/FileSink.h"
#include "pipeline/mp4/HybridFile.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <vector>

namespace quillet {
namespace {

constexpr int width = 1920;
constexpr int height = 1080;

/// Something like a desktop: flat areas, a gradient, and lines of small marks that stand for text.
PixelBufferRef makeDesktop(int shift = 0) {
    PixelBufferRef frame = PixelBuffer::make(width, height);
    std::mt19937 random(1);
    std::vector<std::uint8_t> marks(static_cast<std::size_t>(width) * 64);
    for (std::uint8_t& mark : marks)
        mark = random() % 3 == 0 ? 40 : 245;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const int moved = x + shift;
            std::uint8_t value = 245;
            if (x < 300)
                value = static_cast<std::uint8_t>((y + shift) * 255 / (height + 400) % 256);
            else if (y % 20 > 8 && moved % 90 > 12)
                value = marks[static_cast<std::size_t>((y % 20) * 3 + moved / 2 % width * 1) % marks.size()];
            std::byte* pixel = frame->row(y) + static_cast<std::ptrdiff_t>(x) * 4;
            pixel[0] = static_cast<std::byte>(value);
            pixel[1] = static_cast<std::byte>(x < 300 ? 255 - value : value);
            pixel[2] = static_cast<std::byte>(value);
            pixel[3] = std::byte{255};
        }
    return frame;
}

void copyFrame(benchmark::State& state) {
    const PixelBufferRef from = makeDesktop();
    const PixelBufferRef to = PixelBuffer::make(width, height);
    for (auto _ : state) {
        std::memcpy(to->row(0), from->row(0), from->strideBytes() * height);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(copyFrame)->Unit(benchmark::kMicrosecond);

/// One rectangle of the screen's proportions and of `state.range(0)` percent of its area.
void convertDamage(benchmark::State& state) {
    const double copy = copySeconds(width, height);
    const PixelBufferRef frame = makeDesktop();
    const auto picture = EncoderPicture::make(width, height);
    const double share = std::sqrt(static_cast<double>(state.range(0)) / 100);
    FrameDamage damage{false, {}};
    damage.region.add({0, 0, static_cast<int>(width * share), static_cast<int>(height * share)});
    const double begin = processorSeconds();
    for (auto _ : state) {
        picture->update(*frame, damage);
        benchmark::ClobberMemory();
    }
    state.counters["copies"] = (processorSeconds() - begin) / static_cast<double>(state.iterations()) / copy;
    // Honest only if the pixels are right.
    std::vector<std::uint8_t> luma(static_cast<std::size_t>(width) * 2);
    std::vector<std::uint8_t> chroma(static_cast<std::size_t>(width));
    bgraToNv12Scalar(frame->row(0), frame->strideBytes(), width, 2, {luma.data(), width, chroma.data(), width});
    if (std::memcmp(luma.data(), picture->picture().luma, static_cast<std::size_t>(width * share)) != 0)
        state.SkipWithError("wrong pixels");
}
BENCHMARK(convertDamage)->Arg(1)->Arg(10)->Arg(100)->Unit(benchmark::kMicrosecond);

enum Motion { still, typing, full };

void encodeFrames(benchmark::State& state) {
    Error error;
    const auto encoder = makeX264Encoder({width, height, 60, 24'883'200}, error);
    const auto picture = EncoderPicture::make(width, height);
    std::vector<PixelBufferRef> moving;
    for (int i = 0; i < 16; ++i)
        moving.push_back(makeDesktop(state.range(0) == full ? i * 7 : 0));
    std::mt19937 random(2);
    std::int64_t index = 0;
    std::size_t bytes = 0;
    std::size_t pictures = 0;
    const auto output = [&](const EncodedPicture& encoded) {
        bytes += encoded.bytes.size();
        ++pictures;
    };
    picture->update(*moving[0], {});
    for (auto _ : state) {
        FrameDamage damage{false, {}};
        if (state.range(0) == typing) {
            const PixelRect letter{300 + static_cast<int>(index * 10 % 1500), static_cast<int>(index / 150 % 50 * 20),
                                   10, 18};
            for (int y = letter.y; y < letter.bottom(); ++y)
                for (int x = 0; x < letter.width * 4; ++x)
                    moving[0]->row(y)[letter.x * 4 + x] = static_cast<std::byte>(random() % 2 * 220);
            damage.region.add(letter);
        } else if (state.range(0) == full) {
            damage.isEverything = true;
        }
        picture->update(*moving[state.range(0) == full ? static_cast<std::size_t>(index % 16) : 0], damage);
        if (encoder->encode(picture->picture(), index * 16'667, index % 120 == 0 ? PictureKind::key : PictureKind::any,
                            output))
            state.SkipWithError("the encoder failed");
        picture->settle();
        ++index;
    }
    if (pictures + 1 < static_cast<std::size_t>(index)) state.SkipWithError("pictures are missing");
    state.counters["Mbit/s"] =
        static_cast<double>(bytes) * 8 * 60 / 1e6 / static_cast<double>(std::max<std::size_t>(1, pictures));
}
BENCHMARK(encodeFrames)
    ->ArgName("still0_typing1_full2")
    ->Arg(still)
    ->Arg(typing)
    ->Arg(full)
    ->Iterations(360)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

/// Takes the bytes and forgets them.
class NullSink final : public mp4::ByteSink {
public:
    explicit NullSink(std::uint64_t& largestEnd) : end(largestEnd) {}
    std::optional<Error> writeAt(std::uint64_t offset, std::span<const std::byte> bytes) override {
        end = std::max(end, offset + bytes.size());
        return std::nullopt;
    }
    void writeBehind(std::uint64_t, std::uint64_t) override {}
    std::optional<Error> synchronise() override { return std::nullopt; }
    std::optional<Error> close() override { return std::nullopt; }
    void discard() override {}
    std::optional<std::uint64_t> availableBytes() override { return std::nullopt; }
    [[nodiscard]] std::filesystem::path place() const override { return {}; }

    std::uint64_t& end;
};

/// The tables of an hour at 60 frames a second with irregular times, and of its sound; without or with the disk.
void finishAnHour(benchmark::State& state) {
    std::uint64_t end = 0;
    std::uint64_t fragmentsEnd = 0;
    for (auto _ : state) {
        state.PauseTiming();
        end = 0;
        std::unique_ptr<mp4::ByteSink> sink = std::make_unique<NullSink>(end);
        Error error;
        const std::filesystem::path path = std::filesystem::temp_directory_path() / "quillet-bench-hour.mp4";
        if (state.range(0) == 1) sink = mp4::FileSink::make(path, error);
        if (!sink) return state.SkipWithError("no file");
        mp4::HybridFile file(std::move(sink), {width, height, 1'000'000, std::vector<std::byte>(40)},
                             {48000, 2, 192'000, 1024, 1024, std::vector<std::byte>(5)});
        const std::vector<std::byte> sample(2000);
        std::int64_t packets = 0;
        for (std::int64_t i = 0; i < 216'000; ++i) {
            file.addVideo(sample, i * 16'667 + i % 5, i % 120 == 0);
            for (; packets * 1024 * 60 < i * 48'000; ++packets)
                file.addAudio(sample);
            if (file.isFlushDue()) static_cast<void>(file.flush((i + 1) * 16'667));
        }
        static_cast<void>(file.flush(216'000LL * 16'667));
        fragmentsEnd = end;
        state.ResumeTiming();
        if (file.finish(216'000LL * 16'667, packets * 1024 - 1024)) state.SkipWithError("the file failed");
        if (state.range(0) == 1) std::filesystem::remove(path);
    }
    if (state.range(0) == 0 && end <= fragmentsEnd + 216'000 * 4) state.SkipWithError("the tables are missing");
    if (state.range(0) == 0) state.counters["tableMB"] = static_cast<double>(end - fragmentsEnd) / 1e6;
}
BENCHMARK(finishAnHour)
    ->ArgName("disk")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(5)
    ->UseRealTime();

} // namespace
} // namespace quillet
