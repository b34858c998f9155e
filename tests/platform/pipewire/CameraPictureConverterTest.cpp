#include "platform/pipewire/CameraPictureConverter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace quillet {
namespace {

using Pixel = std::array<double, 3>; // red, green, blue

/// Samples of the painted picture: smooth enough for JPEG, different in every direction.
int lumaAt(int x, int y) { return 40 + (x * 3 + y * 2) % 160; }
int cbAt(int x, int y) { return 90 + (x * 5 + y) % 70; }
int crAt(int x, int y) { return 100 + (x + y * 4) % 60; }
/// Of formats without luma.
int channelAt(int x, int y, int channel) { return (x * 7 + y * 13 + channel * 50) % 256; }

Pixel colourOf(const CameraFormat& format, int x, int y) {
    const bool is709 = format.standard == YuvStandard::bt709;
    const double red = is709 ? 0.2126 : 0.299;
    const double blue = is709 ? 0.0722 : 0.114;
    const bool isLimited = format.range == YuvRange::limited;
    const bool halvesRows = format.layout != CameraLayout::yuy2 && format.layout != CameraLayout::uyvy;
    const int colourRow = halvesRows ? y / 2 : y;
    const double luma = isLimited ? (lumaAt(x, y) - 16) / 219.0 : lumaAt(x, y) / 255.0;
    const double steps = isLimited ? 224 : 255;
    const double b = luma + 2 * (1 - blue) * (cbAt(x / 2, colourRow) - 128) / steps;
    const double r = luma + 2 * (1 - red) * (crAt(x / 2, colourRow) - 128) / steps;
    const double g = (luma - red * r - blue * b) / (1 - red - blue);
    const auto level = [](double value) { return std::clamp(value * 255, 0.0, 255.0); };
    return {level(r), level(g), level(b)};
}

bool hasLuma(CameraLayout layout) {
    return layout == CameraLayout::yuy2 || layout == CameraLayout::uyvy || layout == CameraLayout::nv12 ||
           layout == CameraLayout::i420 || layout == CameraLayout::yv12;
}

Pixel expectedAt(const CameraFormat& format, int x, int y) {
    if (hasLuma(format.layout)) return colourOf(format, x, y);
    return {static_cast<double>(channelAt(x, y, 0)), static_cast<double>(channelAt(x, y, 1)),
            static_cast<double>(channelAt(x, y, 2))};
}

/// Planes with `padding` bytes of rubbish behind each row, each plane in memory of exactly its size.
struct Painted {
    std::vector<std::vector<std::byte>> planes;
    CameraPicture picture;
};

enum class Memory { apart, inOnePiece };

Painted paint(const CameraFormat& format, std::size_t padding, Memory memory = Memory::apart) {
    struct Plane {
        int bytesPerStep;
        int columnsPerStep;
        int rowsPerStep;
        std::function<int(int column, int row, int byte)> sample;
    };
    const auto fourBytes = [](std::array<int, 4> channels) {
        return Plane{4, 1, 1, [channels](int x, int y, int byte) {
                         const int channel = channels[static_cast<std::size_t>(byte)];
                         return channel < 0 ? 0x5a : channelAt(x, y, channel);
                     }};
    };
    const auto threeBytes = [](std::array<int, 3> channels) {
        return Plane{3, 1, 1, [channels](int x, int y, int byte) {
                         return channelAt(x, y, channels[static_cast<std::size_t>(byte)]);
                     }};
    };
    const Plane luma{1, 1, 1, [](int x, int y, int) { return lumaAt(x, y); }};
    const Plane cb{1, 2, 2, [](int x, int y, int) { return cbAt(x, y); }};
    const Plane cr{1, 2, 2, [](int x, int y, int) { return crAt(x, y); }};
    std::vector<Plane> planes;
    switch (format.layout) {
        case CameraLayout::bgrx:
            planes = {fourBytes({2, 1, 0, -1})};
            break;
        case CameraLayout::rgbx:
            planes = {fourBytes({0, 1, 2, -1})};
            break;
        case CameraLayout::xrgb:
            planes = {fourBytes({-1, 0, 1, 2})};
            break;
        case CameraLayout::xbgr:
            planes = {fourBytes({-1, 2, 1, 0})};
            break;
        case CameraLayout::bgr:
            planes = {threeBytes({2, 1, 0})};
            break;
        case CameraLayout::rgb:
            planes = {threeBytes({0, 1, 2})};
            break;
        case CameraLayout::yuy2:
        case CameraLayout::uyvy: {
            const bool lumaFirst = format.layout == CameraLayout::yuy2;
            planes = {{4, 2, 1, [lumaFirst](int x, int y, int byte) {
                           const bool isLuma = (byte % 2 == 0) == lumaFirst;
                           if (isLuma) return lumaAt(2 * x + byte / 2, y);
                           return byte / 2 == 0 ? cbAt(x, y) : crAt(x, y);
                       }}};
            break;
        }
        case CameraLayout::nv12:
            planes = {luma, {2, 2, 2, [](int x, int y, int byte) { return byte == 0 ? cbAt(x, y) : crAt(x, y); }}};
            break;
        case CameraLayout::i420:
            planes = {luma, cb, cr};
            break;
        case CameraLayout::yv12:
            planes = {luma, cr, cb};
            break;
        case CameraLayout::jpeg:
            break;
    }

    Painted painted;
    for (std::size_t i = 0; i < planes.size(); ++i) {
        const Plane& plane = planes[i];
        const int columns = (format.width + plane.columnsPerStep - 1) / plane.columnsPerStep;
        const int rows = (format.height + plane.rowsPerStep - 1) / plane.rowsPerStep;
        const auto rowBytes = static_cast<std::size_t>(columns * plane.bytesPerStep);
        // In one piece the stride of planes with half the columns is half the first one's.
        const bool isHalved = memory == Memory::inOnePiece && plane.columnsPerStep > plane.bytesPerStep;
        const std::size_t ownPadding = isHalved ? padding / 2 : padding;
        const std::size_t stride = rowBytes + ownPadding;
        std::vector<std::byte> bytes(stride * static_cast<std::size_t>(rows), std::byte{0xc3});
        for (int y = 0; y < rows; ++y)
            for (int x = 0; x < columns; ++x)
                for (int byte = 0; byte < plane.bytesPerStep; ++byte)
                    bytes[static_cast<std::size_t>(y) * stride +
                          static_cast<std::size_t>(x * plane.bytesPerStep + byte)] =
                        static_cast<std::byte>(plane.sample(x, y, byte));
        // Between planes in one piece the last row keeps its padding; nothing follows the picture's last pixel.
        if (memory == Memory::apart || i + 1 == planes.size()) bytes.resize(bytes.size() - ownPadding);
        painted.planes.push_back(std::move(bytes));
        painted.picture.planes[i].strideBytes = stride;
    }
    if (memory == Memory::inOnePiece) {
        for (std::size_t i = 1; i < painted.planes.size(); ++i)
            painted.planes[0].insert(painted.planes[0].end(), painted.planes[i].begin(), painted.planes[i].end());
        painted.planes.resize(1);
    }
    painted.picture.planeCount = painted.planes.size();
    for (std::size_t i = 0; i < painted.planes.size(); ++i) {
        // A vector's memory may be longer than its content; this one's is not, so that a sanitizer sees a byte too far.
        painted.planes[i].shrink_to_fit();
        painted.picture.planes[i].data = painted.planes[i].data();
        painted.picture.planes[i].sizeBytes = painted.planes[i].size();
    }
    return painted;
}

Pixel pixelOf(const PixelBuffer& frame, int x, int y) {
    const std::byte* pixel = frame.row(y) + static_cast<std::ptrdiff_t>(x) * 4;
    EXPECT_EQ(pixel[3], std::byte{255});
    const auto level = [pixel](std::size_t channel) {
        return static_cast<double>(std::to_integer<int>(pixel[channel]));
    };
    return {level(2), level(1), level(0)};
}

double farthest(const Pixel& a, const Pixel& b) {
    double distance = 0;
    for (std::size_t channel = 0; channel < 3; ++channel)
        distance = std::max(distance, std::abs(a[channel] - b[channel]));
    return distance;
}

/// The largest difference from the painted picture.
double errorOf(const PixelBuffer& frame, const CameraFormat& format) {
    double worst = 0;
    for (int y = 0; y < format.height; ++y)
        for (int x = 0; x < format.width; ++x)
            worst = std::max(worst, farthest(pixelOf(frame, x, y), expectedAt(format, x, y)));
    return worst;
}

struct LayoutCase {
    const char* name;
    CameraLayout layout;
};

constexpr LayoutCase layouts[] = {
    {"bgrx", CameraLayout::bgrx}, {"rgbx", CameraLayout::rgbx}, {"xrgb", CameraLayout::xrgb},
    {"xbgr", CameraLayout::xbgr}, {"bgr", CameraLayout::bgr},   {"rgb", CameraLayout::rgb},
    {"yuy2", CameraLayout::yuy2}, {"uyvy", CameraLayout::uyvy}, {"nv12", CameraLayout::nv12},
    {"i420", CameraLayout::i420}, {"yv12", CameraLayout::yv12}};

class CameraPictureLayout : public ::testing::TestWithParam<LayoutCase> {
protected:
    [[nodiscard]] CameraFormat format(int width, int height) const {
        return {.layout = GetParam().layout, .width = width, .height = height};
    }
    CameraPictureConverter converter;
};

TEST_P(CameraPictureLayout, becomesItsColours) {
    const double tolerance = hasLuma(GetParam().layout) ? 1 : 0;
    for (const YuvStandard standard : {YuvStandard::bt601, YuvStandard::bt709})
        for (const YuvRange range : {YuvRange::limited, YuvRange::full}) {
            CameraFormat wanted = format(160, 90);
            wanted.standard = standard;
            wanted.range = range;
            const ConstPixelBufferRef frame = converter.convert(wanted, paint(wanted, 0).picture);
            ASSERT_TRUE(frame);
            EXPECT_LE(errorOf(*frame, wanted), tolerance);
        }
}

TEST_P(CameraPictureLayout, mayHaveOddSizesAndPaddedRows) {
    const double tolerance = hasLuma(GetParam().layout) ? 1 : 0;
    for (const int width : {1, 2, 3, 33, 64})
        for (const int height : {1, 2, 5}) {
            const CameraFormat odd = format(width, height);
            const ConstPixelBufferRef frame = converter.convert(odd, paint(odd, 24).picture);
            ASSERT_TRUE(frame) << width << " x " << height;
            EXPECT_EQ(frame->width(), width);
            EXPECT_EQ(frame->height(), height);
            EXPECT_LE(errorOf(*frame, odd), tolerance) << width << " x " << height;
        }
}

TEST_P(CameraPictureLayout, mayHaveItsPlanesInOnePiece) {
    const double tolerance = hasLuma(GetParam().layout) ? 1 : 0;
    const CameraFormat wanted = format(64, 36);
    const Painted painted = paint(wanted, 0, Memory::inOnePiece);
    ASSERT_EQ(painted.picture.planeCount, 1U);
    const ConstPixelBufferRef frame = converter.convert(wanted, painted.picture);
    ASSERT_TRUE(frame);
    EXPECT_LE(errorOf(*frame, wanted), tolerance);
    CameraPicture silentAboutStride = painted.picture;
    silentAboutStride.planes[0].strideBytes = 0;
    const ConstPixelBufferRef same = converter.convert(wanted, silentAboutStride);
    ASSERT_TRUE(same);
    EXPECT_LE(errorOf(*same, wanted), tolerance);
}

TEST_P(CameraPictureLayout, isDroppedWhenAByteIsMissing) {
    const CameraFormat wanted = format(64, 36);
    for (const Memory memory : {Memory::apart, Memory::inOnePiece}) {
        const Painted painted = paint(wanted, 8, memory);
        for (std::size_t plane = 0; plane < painted.picture.planeCount; ++plane) {
            CameraPicture shorter = painted.picture;
            --shorter.planes[plane].sizeBytes;
            EXPECT_FALSE(converter.convert(wanted, shorter)) << "plane " << plane;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Table, CameraPictureLayout, ::testing::ValuesIn(layouts),
                         [](const auto& each) { return each.param.name; });

struct TurnCase {
    const char* name;
    CameraTurn done;
};

class CameraPictureTurn : public ::testing::TestWithParam<TurnCase> {};

// The picture sent is made from the upright one by the definition itself: first the flip, then single quarter turns.
TEST_P(CameraPictureTurn, isUndone) {
    const CameraTurn& done = GetParam().done;
    const CameraFormat upright{.layout = CameraLayout::bgrx, .width = 37, .height = 20};
    struct Grid {
        int width, height;
        std::vector<std::uint32_t> pixels;
        [[nodiscard]] std::uint32_t& at(int x, int y) { return pixels[static_cast<std::size_t>(y * width + x)]; }
    };
    const auto empty = [](int width, int height) {
        return Grid{width, height, std::vector<std::uint32_t>(static_cast<std::size_t>(width * height))};
    };
    Grid sent = empty(upright.width, upright.height);
    for (int y = 0; y < upright.height; ++y)
        for (int x = 0; x < upright.width; ++x) {
            const int column = done.isFlipped ? upright.width - 1 - x : x;
            sent.at(column, y) =
                static_cast<std::uint32_t>(channelAt(x, y, 0) << 16 | channelAt(x, y, 1) << 8 | channelAt(x, y, 2));
        }
    for (int quarter = 0; quarter < done.quarters; ++quarter) {
        Grid turned = empty(sent.height, sent.width);
        for (int y = 0; y < sent.height; ++y)
            for (int x = 0; x < sent.width; ++x)
                turned.at(y, sent.width - 1 - x) =
                    sent.at(x, y); // counter-clockwise: the right column becomes the top row
        sent = turned;
    }
    CameraFormat format = upright;
    format.width = sent.width;
    format.height = sent.height;
    CameraPicture picture;
    picture.planes[0] = {reinterpret_cast<const std::byte*>(sent.pixels.data()), sent.pixels.size() * 4, 0};
    picture.turn = done;
    CameraPictureConverter converter;
    const ConstPixelBufferRef frame = converter.convert(format, picture);
    ASSERT_TRUE(frame);
    ASSERT_EQ(frame->width(), upright.width);
    ASSERT_EQ(frame->height(), upright.height);
    EXPECT_EQ(errorOf(*frame, upright), 0);
}

INSTANTIATE_TEST_SUITE_P(Table, CameraPictureTurn,
                         ::testing::Values(TurnCase{"quarter", {false, 1}}, TurnCase{"half", {false, 2}},
                                           TurnCase{"threeQuarters", {false, 3}}, TurnCase{"flip", {true, 0}},
                                           TurnCase{"flipAndQuarter", {true, 1}}, TurnCase{"flipAndHalf", {true, 2}},
                                           TurnCase{"flipAndThreeQuarters", {true, 3}}),
                         [](const auto& each) { return each.param.name; });

/// What FFmpeg's encoder makes of the painted samples.
std::vector<std::byte> jpegOf(int width, int height, AVPixelFormat pixelFormat) {
    const LibavCodec encoder(avcodec_alloc_context3(avcodec_find_encoder(AV_CODEC_ID_MJPEG)));
    encoder->width = width;
    encoder->height = height;
    encoder->pix_fmt = pixelFormat;
    encoder->time_base = {1, 30};
    encoder->flags |= AV_CODEC_FLAG_QSCALE;
    encoder->global_quality = FF_QP2LAMBDA;
    encoder->color_range = AVCOL_RANGE_JPEG;
    EXPECT_EQ(avcodec_open2(encoder.get(), nullptr, nullptr), 0);
    const LibavFrame frame(av_frame_alloc());
    frame->width = width;
    frame->height = height;
    frame->format = pixelFormat;
    frame->quality = FF_QP2LAMBDA;
    EXPECT_EQ(av_frame_get_buffer(frame.get(), 0), 0);
    const int rowsPerSample = pixelFormat == AV_PIX_FMT_YUVJ420P ? 2 : 1;
    const int columnsPerSample = pixelFormat == AV_PIX_FMT_YUVJ444P ? 1 : 2;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            frame->data[0][y * frame->linesize[0] + x] = static_cast<std::uint8_t>(60 + x + y / 2);
            const int column = x / columnsPerSample;
            const int row = y / rowsPerSample;
            frame->data[1][row * frame->linesize[1] + column] =
                static_cast<std::uint8_t>(110 + x / columnsPerSample / 4);
            frame->data[2][row * frame->linesize[2] + column] = static_cast<std::uint8_t>(150 - y / rowsPerSample / 2);
        }
    const LibavPacket packet(av_packet_alloc());
    EXPECT_EQ(avcodec_send_frame(encoder.get(), frame.get()), 0);
    EXPECT_EQ(avcodec_receive_packet(encoder.get(), packet.get()), 0);
    const auto* bytes = reinterpret_cast<const std::byte*>(packet->data);
    return {bytes, bytes + packet->size};
}

CameraPicture pictureOf(const std::vector<std::byte>& jpeg) {
    CameraPicture picture;
    picture.planes[0] = {jpeg.data(), jpeg.size(), 0};
    return picture;
}

constexpr CameraFormat jpegFormat{.layout = CameraLayout::jpeg, .width = 96, .height = 48};

struct JpegCase {
    const char* name;
    AVPixelFormat format;
    int columnsPerSample;
    int rowsPerSample;
};

class CameraJpeg : public ::testing::TestWithParam<JpegCase> {};

TEST_P(CameraJpeg, becomesItsColours) {
    const JpegCase& each = GetParam();
    CameraPictureConverter converter;
    const std::vector<std::byte> jpeg = jpegOf(96, 48, each.format);
    const ConstPixelBufferRef frame = converter.convert(jpegFormat, pictureOf(jpeg));
    ASSERT_TRUE(frame);
    ASSERT_EQ(frame->width(), 96);
    ASSERT_EQ(frame->height(), 48);
    double worst = 0;
    for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 96; ++x) {
            const double luma = 60 + x + y / 2;
            const double cb = 110 + x / each.columnsPerSample / 4 - 128;
            const double cr = 150 - y / each.rowsPerSample / 2 - 128;
            const Pixel expected{luma + 1.402 * cr, luma - 0.344136 * cb - 0.714136 * cr, luma + 1.772 * cb};
            worst = std::max(worst, farthest(pixelOf(*frame, x, y), expected));
        }
    // The encoder's own rounding at its best quality, on top of ours.
    EXPECT_LE(worst, 6);
}

INSTANTIATE_TEST_SUITE_P(Table, CameraJpeg,
                         ::testing::Values(JpegCase{"halved", AV_PIX_FMT_YUVJ422P, 2, 1},
                                           JpegCase{"quartered", AV_PIX_FMT_YUVJ420P, 2, 2},
                                           JpegCase{"whole", AV_PIX_FMT_YUVJ444P, 1, 1}),
                         [](const auto& each) { return each.param.name; });

TEST(CameraJpegDamage, dropsTruncatedPicturesAndGoesOn) {
    CameraPictureConverter converter;
    const std::vector<std::byte> jpeg = jpegOf(640, 480, AV_PIX_FMT_YUVJ422P);
    ASSERT_GT(jpeg.size(), 4000U);
    for (const double share : {0.0, 0.02, 0.3, 0.6, 0.8, 0.95}) {
        std::vector<std::byte> cut = jpeg;
        cut.resize(static_cast<std::size_t>(static_cast<double>(jpeg.size()) * share));
        EXPECT_FALSE(converter.convert(jpegFormat, pictureOf(cut))) << share;
        EXPECT_TRUE(converter.convert(jpegFormat, pictureOf(jpeg))) << "after " << share;
    }
}

TEST(CameraJpegDamage, toleratesNoiseBehindThePictureAndInIt) {
    CameraPictureConverter converter;
    const std::vector<std::byte> jpeg = jpegOf(96, 48, AV_PIX_FMT_YUVJ422P);
    std::vector<std::byte> padded = jpeg;
    padded.resize(jpeg.size() + 4096);
    EXPECT_TRUE(converter.convert(jpegFormat, pictureOf(padded)));
    // Any byte may be wrong: a frame or none, but nothing worse (the sanitizers watch).
    for (std::size_t i = 0; i < jpeg.size(); i += 3) {
        std::vector<std::byte> damaged = jpeg;
        damaged[i] = ~damaged[i];
        const ConstPixelBufferRef frame = converter.convert(jpegFormat, pictureOf(damaged));
        ASSERT_TRUE(!frame || frame->width() > 0);
    }
    EXPECT_TRUE(converter.convert(jpegFormat, pictureOf(jpeg)));
}

// The smallest of grey pictures, byte by byte: two blocks without any detail are the middle grey.
TEST(CameraJpegGrey, isGrey) {
    const auto isPlain = [](std::uint8_t codes) {
        // One code, of one bit, for the value 0.
        std::vector<std::uint8_t> table{0xff, 0xc4, 0, 20, codes, 1};
        table.resize(22);
        return table;
    };
    std::vector<std::uint8_t> bytes{0xff, 0xd8, 0xff, 0xdb, 0, 67, 0};
    bytes.resize(bytes.size() + 64, 1); // quantisation
    const std::vector<std::uint8_t> frame{0xff, 0xc0, 0, 11, 8, 0, 8, 0, 16, 1, 1, 0x11, 0};
    bytes.insert(bytes.end(), frame.begin(), frame.end());
    for (const std::uint8_t codes : {std::uint8_t{0x00}, std::uint8_t{0x10}}) {
        const std::vector<std::uint8_t> table = isPlain(codes);
        bytes.insert(bytes.end(), table.begin(), table.end());
    }
    const std::vector<std::uint8_t> scan{0xff, 0xda, 0, 8, 1, 1, 0, 0, 63, 0, 0x0f, 0xff, 0xd9};
    bytes.insert(bytes.end(), scan.begin(), scan.end());
    CameraPicture picture;
    picture.planes[0] = {reinterpret_cast<const std::byte*>(bytes.data()), bytes.size(), 0};
    CameraPictureConverter converter;
    const ConstPixelBufferRef grey = converter.convert(jpegFormat, picture);
    ASSERT_TRUE(grey);
    ASSERT_EQ(grey->width(), 16);
    ASSERT_EQ(grey->height(), 8);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 16; ++x)
            EXPECT_LE(farthest(pixelOf(*grey, x, y), {128, 128, 128}), 1);
}

TEST(CameraJpegDamage, takesTheSizeThatThePictureHas) {
    CameraPictureConverter converter;
    const ConstPixelBufferRef frame = converter.convert(jpegFormat, pictureOf(jpegOf(64, 80, AV_PIX_FMT_YUVJ420P)));
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->width(), 64);
    EXPECT_EQ(frame->height(), 80);
}

TEST(CameraPictureConverter, countsDroppedPicturesToo) {
    CameraPictureConverter converter;
    const CameraFormat format{.layout = CameraLayout::nv12, .width = 32, .height = 18};
    const Painted painted = paint(format, 0);
    const ConstPixelBufferRef first = converter.convert(format, painted.picture);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->sequence, 1U);
    EXPECT_FALSE(converter.convert(format, {}));
    const ConstPixelBufferRef third = converter.convert(format, painted.picture);
    ASSERT_TRUE(third);
    EXPECT_EQ(third->sequence, 3U);
}

TEST(CameraPictureConverter, neverWritesIntoAFrameThatSomebodyHolds) {
    CameraPictureConverter converter;
    const CameraFormat format{.layout = CameraLayout::bgrx, .width = 32, .height = 18};
    const Painted painted = paint(format, 0);
    std::vector<ConstPixelBufferRef> held;
    while (const ConstPixelBufferRef frame = converter.convert(format, painted.picture)) {
        for (const ConstPixelBufferRef& other : held)
            ASSERT_NE(other, frame);
        held.push_back(frame);
        ASSERT_LE(held.size(), PixelBufferPool::capacity);
    }
    held.pop_back();
    EXPECT_TRUE(converter.convert(format, painted.picture)) << "a frame came back";
}

TEST(CameraPictureConverter, followsANewSizeWhileOldFramesAreHeld) {
    CameraPictureConverter converter;
    const CameraFormat wide{.layout = CameraLayout::yuy2, .width = 64, .height = 36};
    const CameraFormat tall{.layout = CameraLayout::yuy2, .width = 36, .height = 64};
    const ConstPixelBufferRef before = converter.convert(wide, paint(wide, 0).picture);
    const ConstPixelBufferRef after = converter.convert(tall, paint(tall, 0).picture);
    ASSERT_TRUE(before && after);
    EXPECT_LE(errorOf(*before, wide), 1);
    EXPECT_LE(errorOf(*after, tall), 1);
}

TEST(CameraPictureConverter, refusesImpossibleSizesAndStrides) {
    CameraPictureConverter converter;
    const CameraFormat format{.layout = CameraLayout::bgrx, .width = 32, .height = 18};
    const Painted painted = paint(format, 0);
    for (const auto& [width, height] : {std::pair{0, 18}, {32, 0}, {-1, 18}, {32, -18}, {1 << 20, 1}, {1, 1 << 30}}) {
        CameraFormat impossible = format;
        impossible.width = width;
        impossible.height = height;
        EXPECT_FALSE(converter.convert(impossible, painted.picture)) << width << " x " << height;
    }
    for (const std::size_t stride : {std::size_t{1}, std::size_t{127}, ~std::size_t{0}, ~std::size_t{0} / 17 + 1}) {
        CameraPicture picture = painted.picture;
        picture.planes[0].strideBytes = stride;
        EXPECT_FALSE(converter.convert(format, picture)) << stride;
    }
    const CameraFormat planar{.layout = CameraLayout::i420, .width = 32, .height = 18};
    Painted piece = paint(planar, 0, Memory::inOnePiece);
    piece.picture.planes[0].strideBytes = ~std::size_t{0} / 18 + 1;
    EXPECT_FALSE(converter.convert(planar, piece.picture));
}

} // namespace
} // namespace quillet
