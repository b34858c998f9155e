// camera.cpp: what a camera's picture costs until it is BGRA, beside a plain copy of the result.
//
// 1280 x 720. Every row but the first carries `copies`: its processor time divided by that of a copy of the BGRA frame,
// measured in the same run, right before; means on both sides. `load` is the share of one core that 30 pictures a
// second take. The row of swscale is the rival: the same conversion by FFmpeg's library, with its usual flags.
#include "platform/pipewire/CameraPictureConverter.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <ctime>
#include <random>
#include <vector>

extern "C" {
#include <libswscale/swscale.h>
}

namespace {

using namespace quillet;

constexpr int width = 1280;
constexpr int height = 720;
constexpr double framesPerSecond = 30;

double processorSeconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

void copyFrame(PixelBuffer& into, const PixelBuffer& from) {
    std::memcpy(into.row(0), from.row(0), from.strideBytes() * height);
    benchmark::ClobberMemory();
}

double copySeconds() {
    const PixelBufferRef from = PixelBuffer::make(width, height);
    const PixelBufferRef into = PixelBuffer::make(width, height);
    std::memset(from->row(0), 7, from->strideBytes() * height);
    copyFrame(*into, *from);
    constexpr int rounds = 200;
    const double begin = processorSeconds();
    for (int round = 0; round < rounds; ++round)
        copyFrame(*into, *from);
    return (processorSeconds() - begin) / rounds;
}

void copyOfFrame(benchmark::State& state) {
    const PixelBufferRef from = PixelBuffer::make(width, height);
    const PixelBufferRef into = PixelBuffer::make(width, height);
    std::memset(from->row(0), 7, from->strideBytes() * height);
    for (auto _ : state)
        copyFrame(*into, *from);
    if (std::memcmp(into->row(0), from->row(0), width * 4) != 0) state.SkipWithError("the copy differs");
}
BENCHMARK(copyOfFrame)->Unit(benchmark::kMillisecond);

/// Random bytes are a picture in every raw format.
std::vector<std::byte> noise() {
    std::vector<std::byte> bytes(static_cast<std::size_t>(width) * height * 4);
    std::mt19937 random(7);
    for (std::byte& byte : bytes)
        byte = static_cast<std::byte>(random());
    return bytes;
}

void report(benchmark::State& state, double seconds, double copy) {
    const double each = seconds / static_cast<double>(state.iterations());
    state.counters["copies"] = each / copy;
    state.counters["load"] = each * framesPerSecond;
}

void convert(benchmark::State& state, CameraLayout layout, CameraTurn turn) {
    const double copy = copySeconds();
    const std::vector<std::byte> bytes = noise();
    CameraPicture picture;
    picture.planes[0] = {bytes.data(), bytes.size(), 0};
    picture.turn = turn;
    const CameraFormat format{.layout = layout, .width = width, .height = height};
    CameraPictureConverter converter;
    bool isWhole = true;
    const double begin = processorSeconds();
    for (auto _ : state) {
        const ConstPixelBufferRef frame = converter.convert(format, picture);
        isWhole = isWhole && frame && frame->row(height / 2)[3] == std::byte{255};
    }
    report(state, processorSeconds() - begin, copy);
    if (!isWhole) state.SkipWithError("a picture was dropped");
}
BENCHMARK_CAPTURE(convert, bgrx, CameraLayout::bgrx, CameraTurn{})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, rgbx, CameraLayout::rgbx, CameraTurn{})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, xrgb, CameraLayout::xrgb, CameraTurn{})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, rgb, CameraLayout::rgb, CameraTurn{})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, yuy2, CameraLayout::yuy2, CameraTurn{})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, uyvy, CameraLayout::uyvy, CameraTurn{})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, nv12, CameraLayout::nv12, CameraTurn{})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, i420, CameraLayout::i420, CameraTurn{})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, yuy2Turned, CameraLayout::yuy2, CameraTurn{false, 2})->Unit(benchmark::kMillisecond);

/// A picture with as much detail as a face before a wall has: smooth waves and a little noise, at a usual quality.
std::vector<std::byte> jpeg() {
    const LibavCodec encoder(avcodec_alloc_context3(avcodec_find_encoder(AV_CODEC_ID_MJPEG)));
    encoder->width = width;
    encoder->height = height;
    encoder->pix_fmt = AV_PIX_FMT_YUVJ422P;
    encoder->time_base = {1, 30};
    encoder->flags |= AV_CODEC_FLAG_QSCALE;
    encoder->global_quality = 4 * FF_QP2LAMBDA;
    const LibavFrame frame(av_frame_alloc());
    frame->width = width;
    frame->height = height;
    frame->format = encoder->pix_fmt;
    frame->quality = encoder->global_quality;
    const LibavPacket packet(av_packet_alloc());
    if (avcodec_open2(encoder.get(), nullptr, nullptr) < 0 || av_frame_get_buffer(frame.get(), 0) < 0) return {};
    std::mt19937 random(7);
    for (int plane = 0; plane < 3; ++plane)
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < (plane == 0 ? width : width / 2); ++x)
                frame->data[plane][y * frame->linesize[plane] + x] = static_cast<std::uint8_t>(
                    128 + 60 * std::sin(x / 31.0) * std::cos(y / 17.0) + static_cast<double>(random() % 9));
    if (avcodec_send_frame(encoder.get(), frame.get()) < 0) return {};
    if (avcodec_receive_packet(encoder.get(), packet.get()) < 0) return {};
    const auto* bytes = reinterpret_cast<const std::byte*>(packet->data);
    return {bytes, bytes + packet->size};
}

void convertJpeg(benchmark::State& state) {
    const double copy = copySeconds();
    const std::vector<std::byte> bytes = jpeg();
    CameraPicture picture;
    picture.planes[0] = {bytes.data(), bytes.size(), 0};
    CameraPictureConverter converter;
    bool isWhole = true;
    const double begin = processorSeconds();
    for (auto _ : state)
        isWhole = converter.convert({.layout = CameraLayout::jpeg}, picture) != nullptr && isWhole;
    report(state, processorSeconds() - begin, copy);
    state.counters["bytes"] = static_cast<double>(bytes.size());
    if (!isWhole) state.SkipWithError("a picture was dropped");
}
BENCHMARK(convertJpeg)->Unit(benchmark::kMillisecond);

void convertBySwscale(benchmark::State& state, AVPixelFormat pixelFormat) {
    const double copy = copySeconds();
    const std::vector<std::byte> bytes = noise();
    const PixelBufferRef into = PixelBuffer::make(width, height);
    SwsContext* const context = sws_getContext(width, height, pixelFormat, width, height, AV_PIX_FMT_BGRA, SWS_BILINEAR,
                                               nullptr, nullptr, nullptr);
    const auto* first = reinterpret_cast<const std::uint8_t*>(bytes.data());
    const bool isPacked = pixelFormat == AV_PIX_FMT_YUYV422;
    const std::uint8_t* const from[] = {first, isPacked ? nullptr : first + width * height};
    const int strides[] = {isPacked ? width * 2 : width, isPacked ? 0 : width};
    std::uint8_t* const to[] = {reinterpret_cast<std::uint8_t*>(into->row(0))};
    const int toStrides[] = {static_cast<int>(into->strideBytes())};
    const double begin = processorSeconds();
    int rows = 0;
    for (auto _ : state)
        rows = sws_scale(context, from, strides, 0, height, to, toStrides);
    report(state, processorSeconds() - begin, copy);
    if (rows != height) state.SkipWithError("not converted");
    sws_freeContext(context);
}
BENCHMARK_CAPTURE(convertBySwscale, yuy2, AV_PIX_FMT_YUYV422)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convertBySwscale, nv12, AV_PIX_FMT_NV12)->Unit(benchmark::kMillisecond);

} // namespace
