#include "tests/fakes/pipewire/CameraPainter.h"

#include "platform/synthetic/SyntheticCamera.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace quillet::testing {

namespace {

/// Where a rectangle of the upright picture comes to lie.
PixelRect turned(PixelRect rect, int width, int height, const CameraTurn& turn) {
    if (turn.isFlipped) rect.x = width - rect.x - rect.width;
    for (int quarter = 0; quarter < turn.quarters; ++quarter) {
        rect = {rect.y, width - rect.x - rect.width, rect.height, rect.width};
        std::swap(width, height);
    }
    return rect;
}

std::vector<SyntheticCameraPicture::Patch> patchesOf(const CameraPainter::Options& options, std::uint64_t number) {
    int width = options.format.width;
    int height = options.format.height;
    if (options.turn.quarters % 2 != 0) std::swap(width, height);
    auto patches = SyntheticCameraPicture{width, height}.patches(number);
    for (auto& patch : patches)
        patch.rect = turned(patch.rect, width, height, options.turn);
    return patches;
}

struct Samples {
    std::byte luma, cb, cr;
};

Samples samplesOf(std::uint32_t colour, YuvStandard standard, YuvRange range) {
    const double red = (colour >> 16 & 255) / 255.0;
    const double green = (colour >> 8 & 255) / 255.0;
    const double blue = (colour & 255) / 255.0;
    const double redWeight = standard == YuvStandard::bt709 ? 0.2126 : 0.299;
    const double blueWeight = standard == YuvStandard::bt709 ? 0.0722 : 0.114;
    const bool isLimited = range == YuvRange::limited;
    const double luma = redWeight * red + (1 - redWeight - blueWeight) * green + blueWeight * blue;
    const auto byte = [](double value) { return static_cast<std::byte>(std::clamp(std::lround(value), 0L, 255L)); };
    const double steps = isLimited ? 224 : 255;
    return {byte(isLimited ? 16 + 219 * luma : 255 * luma), byte(128 + steps * (blue - luma) / (2 * (1 - blueWeight))),
            byte(128 + steps * (red - luma) / (2 * (1 - redWeight)))};
}

/// Fills columns and rows with one group of bytes after the other.
void fill(std::byte* plane, std::size_t stride, const PixelRect& rect, std::span<const std::byte> group) {
    for (int y = rect.y; y < rect.bottom(); ++y) {
        std::byte* at = plane + static_cast<std::size_t>(y) * stride + static_cast<std::size_t>(rect.x) * group.size();
        for (int x = 0; x < rect.width; ++x, at += group.size())
            std::copy(group.begin(), group.end(), at);
    }
}

PixelRect halved(const PixelRect& rect, int rowsPerSample) {
    const int left = rect.x / 2;
    const int top = rect.y / rowsPerSample;
    return {left, top, (rect.right() + 1) / 2 - left, (rect.bottom() + rowsPerSample - 1) / rowsPerSample - top};
}

} // namespace

CameraPainter::CameraPainter(const Options& wanted) : options(wanted) {}

std::size_t CameraPainter::strideBytes() const {
    const auto width = static_cast<std::size_t>(options.format.width);
    switch (options.format.layout) {
        case CameraLayout::bgrx:
        case CameraLayout::rgbx:
        case CameraLayout::xrgb:
        case CameraLayout::xbgr:
            return width * 4 + options.paddingBytes;
        case CameraLayout::bgr:
        case CameraLayout::rgb:
            return width * 3 + options.paddingBytes;
        case CameraLayout::yuy2:
        case CameraLayout::uyvy:
            return (width + 1) / 2 * 4 + options.paddingBytes;
        case CameraLayout::nv12:
        case CameraLayout::i420:
        case CameraLayout::yv12:
            return (width + 1) / 2 * 2 + options.paddingBytes;
        case CameraLayout::jpeg:
            break;
    }
    return 0;
}

std::size_t CameraPainter::sizeBytes() const {
    const auto height = static_cast<std::size_t>(options.format.height);
    if (options.format.layout == CameraLayout::jpeg)
        return static_cast<std::size_t>(options.format.width) * height * 2 + 4096;
    return strideBytes() * (height + 2 * ((height + 1) / 2)); // more than the halved planes need
}

std::size_t CameraPainter::paint(std::uint64_t number, std::span<std::byte> memory) {
    const CameraFormat& format = options.format;
    if (format.layout == CameraLayout::jpeg) return encode(number, memory);
    const std::size_t stride = strideBytes();
    const auto rows = static_cast<std::size_t>(format.height);
    const std::size_t halfRows = (rows + 1) / 2;
    if (memory.size() < sizeBytes()) return 0;
    std::byte* const first = memory.data();
    std::byte* const second = first + stride * rows;
    std::byte* const third = second + (stride + 1) / 2 * halfRows;
    std::size_t used = stride * rows;
    for (const auto& patch : patchesOf(options, number)) {
        const PixelRect& rect = patch.rect;
        const std::uint32_t colour = patch.colour;
        const Samples yuv = samplesOf(colour, format.standard, format.range);
        const auto red = static_cast<std::byte>(colour >> 16 & 255);
        const auto green = static_cast<std::byte>(colour >> 8 & 255);
        const auto blue = static_cast<std::byte>(colour & 255);
        const auto any = std::byte{0x5a};
        const auto whole = [&](auto... bytes) { fill(first, stride, rect, std::array{bytes...}); };
        const auto halfPlane = [&](std::byte* plane, std::size_t planeStride, auto... bytes) {
            fill(plane, planeStride, halved(rect, 2), std::array{bytes...});
        };
        switch (format.layout) {
            case CameraLayout::bgrx:
                whole(blue, green, red, any);
                break;
            case CameraLayout::rgbx:
                whole(red, green, blue, any);
                break;
            case CameraLayout::xrgb:
                whole(any, red, green, blue);
                break;
            case CameraLayout::xbgr:
                whole(any, blue, green, red);
                break;
            case CameraLayout::bgr:
                whole(blue, green, red);
                break;
            case CameraLayout::rgb:
                whole(red, green, blue);
                break;
            case CameraLayout::yuy2:
                fill(first, stride, halved(rect, 1), std::array{yuv.luma, yuv.cb, yuv.luma, yuv.cr});
                break;
            case CameraLayout::uyvy:
                fill(first, stride, halved(rect, 1), std::array{yuv.cb, yuv.luma, yuv.cr, yuv.luma});
                break;
            case CameraLayout::nv12:
                whole(yuv.luma);
                halfPlane(second, stride, yuv.cb, yuv.cr);
                used = stride * (rows + halfRows);
                break;
            case CameraLayout::i420:
            case CameraLayout::yv12: {
                const bool isCbFirst = format.layout == CameraLayout::i420;
                whole(yuv.luma);
                halfPlane(second, (stride + 1) / 2, isCbFirst ? yuv.cb : yuv.cr);
                halfPlane(third, (stride + 1) / 2, isCbFirst ? yuv.cr : yuv.cb);
                used = stride * rows + (stride + 1) / 2 * halfRows * 2;
                break;
            }
            case CameraLayout::jpeg:
                break;
        }
    }
    return used;
}

std::size_t CameraPainter::encode(std::uint64_t number, std::span<std::byte> memory) {
    if (!encoder) {
        encoder.reset(avcodec_alloc_context3(avcodec_find_encoder(AV_CODEC_ID_MJPEG)));
        encoder->width = options.format.width;
        encoder->height = options.format.height;
        encoder->pix_fmt = AV_PIX_FMT_YUVJ422P;
        encoder->time_base = {1, 30};
        encoder->flags |= AV_CODEC_FLAG_QSCALE;
        encoder->global_quality = 3 * FF_QP2LAMBDA;
        encoded.reset(av_frame_alloc());
        encoded->width = encoder->width;
        encoded->height = encoder->height;
        encoded->format = encoder->pix_fmt;
        encoded->quality = encoder->global_quality;
        if (avcodec_open2(encoder.get(), nullptr, nullptr) < 0 || av_frame_get_buffer(encoded.get(), 0) < 0) return 0;
    }
    if (av_frame_make_writable(encoded.get()) < 0) return 0;
    for (const auto& [rect, colour] : patchesOf(options, number)) {
        const Samples yuv = samplesOf(colour, YuvStandard::bt601, YuvRange::full);
        const auto plane = [&](int index, const PixelRect& part, std::byte value) {
            fill(reinterpret_cast<std::byte*>(encoded->data[index]), static_cast<std::size_t>(encoded->linesize[index]),
                 part, std::array{value});
        };
        plane(0, rect, yuv.luma);
        plane(1, halved(rect, 1), yuv.cb);
        plane(2, halved(rect, 1), yuv.cr);
    }
    const LibavPacket packet(av_packet_alloc());
    if (avcodec_send_frame(encoder.get(), encoded.get()) < 0) return 0;
    if (avcodec_receive_packet(encoder.get(), packet.get()) < 0) return 0;
    const auto size = static_cast<std::size_t>(packet->size);
    if (size > memory.size()) return 0;
    std::memcpy(memory.data(), packet->data, size);
    return size;
}

} // namespace quillet::testing
