#include "platform/pipewire/CameraPictureConverter.h"

#include "pipeline/kernels/blend.h"

#include <algorithm>
#include <cstring>
#include <optional>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace quillet {

namespace {

constexpr int largestSide = 16384;

/// What one plane of a format needs.
struct PlaneShape {
    std::size_t rowBytes;
    int rows;
};

struct PictureShape {
    std::array<PlaneShape, 3> planes;
    std::size_t count;
};

PictureShape shapeOf(const CameraFormat& format) {
    const auto width = static_cast<std::size_t>(format.width);
    const std::size_t pairs = (width + 1) / 2;
    const int halfHeight = (format.height + 1) / 2;
    switch (format.layout) {
        case CameraLayout::bgrx:
        case CameraLayout::rgbx:
        case CameraLayout::xrgb:
        case CameraLayout::xbgr:
            return {{{{width * 4, format.height}}}, 1};
        case CameraLayout::bgr:
        case CameraLayout::rgb:
            return {{{{width * 3, format.height}}}, 1};
        case CameraLayout::yuy2:
        case CameraLayout::uyvy:
            return {{{{pairs * 4, format.height}}}, 1};
        case CameraLayout::nv12:
            return {{{{width, format.height}, {pairs * 2, halfHeight}}}, 2};
        case CameraLayout::i420:
        case CameraLayout::yv12:
            return {{{{width, format.height}, {pairs, halfHeight}, {pairs, halfHeight}}}, 3};
        case CameraLayout::jpeg:
            break;
    }
    return {{}, 0};
}

/// A plane that holds all it should.
struct Rows {
    const std::byte* base = nullptr;
    std::size_t strideBytes = 0;

    [[nodiscard]] const std::byte* bytes(int y) const { return base + static_cast<std::size_t>(y) * strideBytes; }
    [[nodiscard]] const std::uint8_t* row(int y) const { return reinterpret_cast<const std::uint8_t*>(bytes(y)); }
};

std::optional<Rows> rowsOf(const CameraPlane& plane, const PlaneShape& shape) {
    const std::size_t stride = plane.strideBytes == 0 ? shape.rowBytes : plane.strideBytes;
    if (!plane.data || stride < shape.rowBytes) return std::nullopt;
    const auto rowsBefore = static_cast<std::size_t>(shape.rows - 1);
    // The last row may end where its pixels do. The division keeps an absurd stride from wrapping around.
    if (plane.sizeBytes < shape.rowBytes) return std::nullopt;
    if (rowsBefore > 0 && stride > (plane.sizeBytes - shape.rowBytes) / rowsBefore) return std::nullopt;
    return Rows{plane.data, stride};
}

/// Planes that follow each other in one piece of memory: their strides follow from the first one's, their rows from its
/// row count.
std::array<CameraPlane, 3> apart(const CameraPlane& whole, CameraLayout layout, const PictureShape& shape) {
    std::array<CameraPlane, 3> planes{whole};
    const std::size_t stride = whole.strideBytes == 0 ? shape.planes[0].rowBytes : whole.strideBytes;
    const std::size_t colourStride = layout == CameraLayout::nv12
                                         ? std::max(stride, shape.planes[1].rowBytes)
                                         : std::max((stride + 1) / 2, shape.planes[1].rowBytes);
    planes[0].strideBytes = stride;
    std::size_t used = 0;
    for (std::size_t i = 1; i < shape.count; ++i) {
        const std::size_t before = planes[i - 1].strideBytes * static_cast<std::size_t>(shape.planes[i - 1].rows);
        if (before > whole.sizeBytes - used) return {};
        used += before;
        planes[i] = {whole.data + used, whole.sizeBytes - used, colourStride};
    }
    return planes;
}

template <int blue, int green, int red, int bytesPerPixel>
void reorder(std::byte* into, const std::byte* from, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) {
        const std::byte pixel[4] = {from[x * bytesPerPixel + blue], from[x * bytesPerPixel + green],
                                    from[x * bytesPerPixel + red], std::byte{255}};
        std::memcpy(into + x * 4, pixel, 4);
    }
}

/// The sample of column x and row y of the upright picture, in the turned one.
template <bool isFlipped, int quarters>
void turn(const PixelBuffer& from, PixelBuffer& into) {
    const int width = into.width();
    const int height = into.height();
    // Small squares: whichever way the columns run, the lines of memory that are touched stay in the cache.
    constexpr int side = 16;
    for (int top = 0; top < height; top += side)
        for (int left = 0; left < width; left += side)
            for (int y = top; y < std::min(height, top + side); ++y)
                for (int x = left; x < std::min(width, left + side); ++x) {
                    const int column = isFlipped ? width - 1 - x : x;
                    int fromX = column;
                    int fromY = y;
                    if constexpr (quarters == 1) fromX = y, fromY = width - 1 - column;
                    if constexpr (quarters == 2) fromX = width - 1 - column, fromY = height - 1 - y;
                    if constexpr (quarters == 3) fromX = height - 1 - y, fromY = column;
                    std::memcpy(into.row(y) + static_cast<std::ptrdiff_t>(x) * 4,
                                from.row(fromY) + static_cast<std::ptrdiff_t>(fromX) * 4, 4);
                }
}

} // namespace

ConstPixelBufferRef CameraPictureConverter::convert(const CameraFormat& format, const CameraPicture& picture) {
    ++lastSequence;
    const PixelBufferRef drawn = format.layout == CameraLayout::jpeg ? readJpeg(picture) : readRaw(format, picture);
    if (!drawn) return nullptr;
    const PixelBufferRef frame = upright(drawn, picture.turn);
    if (!frame) return nullptr;
    frame->alpha = Alpha::premultiplied; // and 255 everywhere
    frame->sequence = lastSequence;
    return frame;
}

PixelBufferRef CameraPictureConverter::frameOf(int width, int height) {
    const Size size{static_cast<double>(width), static_cast<double>(height)};
    if (!pool || pool->size() != size) pool = PixelBufferPool::make(size);
    return pool ? pool->acquire() : nullptr;
}

/// Where to draw: the frame itself, or for a turned picture a place to turn it from.
PixelBufferRef CameraPictureConverter::target(int width, int height, const CameraTurn& turn) {
    if (turn == CameraTurn{}) return frameOf(width, height);
    if (!unturned || unturned->width() != width || unturned->height() != height)
        unturned = PixelBuffer::make(width, height);
    return unturned;
}

PixelBufferRef CameraPictureConverter::upright(const PixelBufferRef& drawn, const CameraTurn& done) {
    if (done == CameraTurn{}) return drawn;
    const bool isOnItsSide = done.quarters % 2 != 0;
    PixelBufferRef frame =
        isOnItsSide ? frameOf(drawn->height(), drawn->width()) : frameOf(drawn->width(), drawn->height());
    if (!frame) return nullptr;
    using Turn = void (*)(const PixelBuffer&, PixelBuffer&);
    constexpr Turn turns[2][4] = {{turn<false, 0>, turn<false, 1>, turn<false, 2>, turn<false, 3>},
                                  {turn<true, 0>, turn<true, 1>, turn<true, 2>, turn<true, 3>}};
    turns[done.isFlipped ? 1 : 0][done.quarters & 3](*drawn, *frame);
    return frame;
}

PixelBufferRef CameraPictureConverter::readRaw(const CameraFormat& format, const CameraPicture& picture) {
    const int width = format.width;
    const int height = format.height;
    if (width < 1 || height < 1 || width > largestSide || height > largestSide) return nullptr;
    const PictureShape shape = shapeOf(format);
    const std::array<CameraPlane, 3> planes =
        picture.planeCount >= shape.count ? picture.planes : apart(picture.planes[0], format.layout, shape);
    std::array<Rows, 3> rows;
    for (std::size_t i = 0; i < shape.count; ++i) {
        const std::optional<Rows> complete = rowsOf(planes[i], shape.planes[i]);
        if (!complete) return nullptr;
        rows[i] = *complete;
    }
    PixelBufferRef frame = target(width, height, picture.turn);
    if (!frame) return nullptr;

    const auto columns = static_cast<std::size_t>(width);
    const YuvFactors factors = YuvFactors::make(format.standard, format.range);
    for (int y = 0; y < height; ++y) {
        std::byte* const into = frame->row(y);
        const std::byte* const from = rows[0].bytes(y);
        YuvRow yuv{.layout = YuvLayout::planar, .luma = rows[0].row(y)};
        switch (format.layout) {
            case CameraLayout::bgrx:
                kernels::copyOpaque(into, from, columns);
                continue;
            case CameraLayout::rgbx:
                reorder<2, 1, 0, 4>(into, from, columns);
                continue;
            case CameraLayout::xrgb:
                reorder<3, 2, 1, 4>(into, from, columns);
                continue;
            case CameraLayout::xbgr:
                reorder<1, 2, 3, 4>(into, from, columns);
                continue;
            case CameraLayout::bgr:
                reorder<0, 1, 2, 3>(into, from, columns);
                continue;
            case CameraLayout::rgb:
                reorder<2, 1, 0, 3>(into, from, columns);
                continue;
            case CameraLayout::yuy2:
                yuv.layout = YuvLayout::yuyv;
                break;
            case CameraLayout::uyvy:
                yuv.layout = YuvLayout::uyvy;
                break;
            case CameraLayout::nv12:
                yuv.layout = YuvLayout::semiPlanar;
                yuv.cb = rows[1].row(y / 2);
                break;
            case CameraLayout::i420:
            case CameraLayout::yv12:
                yuv.cb = rows[format.layout == CameraLayout::i420 ? 1 : 2].row(y / 2);
                yuv.cr = rows[format.layout == CameraLayout::i420 ? 2 : 1].row(y / 2);
                break;
            case CameraLayout::jpeg:
                return nullptr;
        }
        kernels::yuvToBgra(into, yuv, columns, factors);
    }
    return frame;
}

PixelBufferRef CameraPictureConverter::readJpeg(const CameraPicture& picture) {
    if (!jpegDecoder) jpegDecoder = JpegDecoder::make();
    const CameraPlane& data = picture.planes[0];
    if (!jpegDecoder || !data.data) return nullptr;
    const AVFrame* decoded = jpegDecoder->decode({data.data, data.sizeBytes});
    if (!decoded || decoded->width > largestSide || decoded->height > largestSide) return nullptr;
    const AVPixFmtDescriptor* shape = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(decoded->format));
    const bool isGrey = shape && shape->nb_components == 1;
    const bool isYuv = shape && shape->nb_components == 3 && (shape->flags & AV_PIX_FMT_FLAG_PLANAR) != 0 &&
                       (shape->flags & AV_PIX_FMT_FLAG_RGB) == 0 && shape->log2_chroma_w <= 1;
    if ((!isGrey && !isYuv) || shape->comp[0].depth != 8) return nullptr;
    PixelBufferRef frame = target(decoded->width, decoded->height, picture.turn);
    if (!frame) return nullptr;

    const auto columns = static_cast<std::size_t>(decoded->width);
    if (isGrey) noColour.assign(columns, 128);
    const bool isLimited = decoded->color_range == AVCOL_RANGE_MPEG;
    const YuvFactors factors = YuvFactors::make(YuvStandard::bt601, isLimited ? YuvRange::limited : YuvRange::full);
    for (int y = 0; y < decoded->height; ++y) {
        const auto row = [&](int plane, int at) {
            return decoded->data[plane] + static_cast<std::ptrdiff_t>(at) * decoded->linesize[plane];
        };
        YuvRow yuv{
            .layout = YuvLayout::planarAllPixels, .luma = row(0, y), .cb = noColour.data(), .cr = noColour.data()};
        if (isYuv) {
            if (shape->log2_chroma_w == 1) yuv.layout = YuvLayout::planar;
            yuv.cb = row(1, y >> shape->log2_chroma_h);
            yuv.cr = row(2, y >> shape->log2_chroma_h);
        }
        kernels::yuvToBgra(frame->row(y), yuv, columns, factors);
    }
    return frame;
}

} // namespace quillet
