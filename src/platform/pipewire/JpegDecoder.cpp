#include "platform/pipewire/JpegDecoder.h"

#include <limits>
#include <utility>

namespace quillet {

namespace {

// Twice the largest of today's video sizes, 7680 x 4320: a damaged header must not make us ask for all memory there is.
constexpr std::int64_t mostPixels = std::int64_t{2} * 7680 * 4320;

} // namespace

JpegDecoder::JpegDecoder(LibavCodec opened, LibavPacket packetToUse, LibavFrame frameToUse)
    : decoder(std::move(opened)), packet(std::move(packetToUse)), frame(std::move(frameToUse)) {}

std::unique_ptr<JpegDecoder> JpegDecoder::make() {
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_MJPEG);
    if (!codec) return nullptr;
    LibavCodec decoder(avcodec_alloc_context3(codec));
    LibavPacket packet(av_packet_alloc());
    LibavFrame frame(av_frame_alloc());
    if (!decoder || !packet || !frame) return nullptr;
    decoder->thread_count = 1; // more threads would hold a picture back
    decoder->err_recognition = AV_EF_EXPLODE | AV_EF_BUFFER;
    decoder->max_pixels = mostPixels;
    decoder->log_level_offset = AV_LOG_TRACE; // a loose cable would fill the journal
    if (avcodec_open2(decoder.get(), codec, nullptr) < 0) return nullptr;
    return std::unique_ptr<JpegDecoder>(new JpegDecoder(std::move(decoder), std::move(packet), std::move(frame)));
}

const AVFrame* JpegDecoder::decode(std::span<const std::byte> data) {
    if (data.empty() || data.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()) / 2) return nullptr;
    padded.assign(data.begin(), data.end());
    padded.resize(data.size() + AV_INPUT_BUFFER_PADDING_SIZE);
    av_packet_unref(packet.get());
    packet->data = reinterpret_cast<std::uint8_t*>(padded.data());
    packet->size = static_cast<int>(data.size());
    av_frame_unref(frame.get());
    const bool isTaken = avcodec_send_packet(decoder.get(), packet.get()) >= 0;
    const bool isWhole = isTaken && avcodec_receive_frame(decoder.get(), frame.get()) >= 0 &&
                         frame->decode_error_flags == 0 && (frame->flags & AV_FRAME_FLAG_CORRUPT) == 0;
    if (isWhole) return frame.get();
    // Whatever a damaged picture has left behind must not meet the next one.
    avcodec_flush_buffers(decoder.get());
    return nullptr;
}

} // namespace quillet
