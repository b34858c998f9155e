#include "selftest/FilmReader.h"

#include "pipeline/libavHandles.h"

#include <QTransform>

#include <cmath>
#include <cstdint>
#include <memory>

extern "C" {
#include <libavutil/display.h>
#include <libswscale/swscale.h>
}

namespace quillet {

namespace {

struct ScalerFreer {
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};
using Scaler = std::unique_ptr<SwsContext, ScalerFreer>;

/// Degrees by which the stored picture is to be turned clockwise for display.
double rotationOf(const AVStream& stream) {
    const std::uint8_t* matrix = nullptr;
#if LIBAVFORMAT_VERSION_MAJOR >= 61
    const AVPacketSideData* side = av_packet_side_data_get(
        stream.codecpar->coded_side_data, stream.codecpar->nb_coded_side_data, AV_PKT_DATA_DISPLAYMATRIX);
    if (side && side->size >= 9 * sizeof(std::int32_t)) matrix = side->data;
#else
    std::size_t size = 0;
    matrix = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    if (size < 9 * sizeof(std::int32_t)) matrix = nullptr;
#endif
    if (!matrix) return 0;
    const double anticlockwise = av_display_rotation_get(reinterpret_cast<const std::int32_t*>(matrix));
    return std::isnan(anticlockwise) ? 0 : -anticlockwise;
}

std::optional<QImage> toImage(const AVFrame& frame) {
    const Scaler scaler(sws_getContext(frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), frame.width,
                                       frame.height, AV_PIX_FMT_BGRA, SWS_POINT | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT,
                                       nullptr, nullptr, nullptr));
    if (!scaler) return std::nullopt;
    const int matrix = frame.colorspace == AVCOL_SPC_BT709 ? SWS_CS_ITU709 : SWS_CS_DEFAULT;
    sws_setColorspaceDetails(scaler.get(), sws_getCoefficients(matrix), frame.color_range == AVCOL_RANGE_JPEG,
                             sws_getCoefficients(matrix), 1, 0, 1 << 16, 1 << 16);
    QImage image(frame.width, frame.height, QImage::Format_ARGB32);
    if (image.isNull()) return std::nullopt;
    std::uint8_t* const rows[] = {image.bits(), nullptr, nullptr, nullptr};
    const int strides[] = {static_cast<int>(image.bytesPerLine()), 0, 0, 0};
    if (sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, rows, strides) != frame.height)
        return std::nullopt;
    return image;
}

LibavInput openInput(const std::filesystem::path& file) {
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, file.c_str(), nullptr, nullptr) < 0) return nullptr;
    LibavInput format(opened);
    return avformat_find_stream_info(opened, nullptr) < 0 ? nullptr : std::move(format);
}

LibavCodec openCodec(const AVStream& stream) {
    const AVCodec* const decoder = avcodec_find_decoder(stream.codecpar->codec_id);
    if (!decoder) return nullptr;
    LibavCodec codec(avcodec_alloc_context3(decoder));
    if (!codec || avcodec_parameters_to_context(codec.get(), stream.codecpar) < 0) return nullptr;
    return avcodec_open2(codec.get(), decoder, nullptr) < 0 ? nullptr : std::move(codec);
}

} // namespace

std::optional<QImage> filmPictureAt(const std::filesystem::path& file, MediaTime time) {
    const LibavInput format = openInput(file);
    if (!format) return std::nullopt;
    const int index = av_find_best_stream(format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index < 0) return std::nullopt;
    AVStream& stream = *format->streams[index];
    const LibavCodec codec = openCodec(stream);
    const LibavFrame frame(av_frame_alloc());
    const LibavFrame shown(av_frame_alloc());
    const LibavPacket packet(av_packet_alloc());
    if (!codec || !frame || !shown || !packet) return std::nullopt;

    const std::int64_t target = av_rescale_q(time.value, {1, time.timescale}, stream.time_base);
    av_seek_frame(format.get(), index, target, AVSEEK_FLAG_BACKWARD);

    // Decoding stops at the first picture beyond the wanted moment; until then the newest one is what a player shows.
    bool beyond = false;
    const auto receive = [&] {
        while (!beyond && avcodec_receive_frame(codec.get(), frame.get()) >= 0) {
            beyond = frame->best_effort_timestamp > target;
            if (beyond && shown->width > 0) return;
            av_frame_unref(shown.get());
            av_frame_move_ref(shown.get(), frame.get());
        }
    };
    while (!beyond && av_read_frame(format.get(), packet.get()) >= 0) {
        if (packet->stream_index == index && avcodec_send_packet(codec.get(), packet.get()) >= 0) receive();
        av_packet_unref(packet.get());
    }
    if (!beyond && avcodec_send_packet(codec.get(), nullptr) >= 0) receive();
    if (shown->width <= 0) return std::nullopt;

    std::optional<QImage> image = toImage(*shown);
    const double rotation = rotationOf(stream);
    if (image && rotation != 0) image = image->transformed(QTransform().rotate(rotation));
    return image;
}

} // namespace quillet
