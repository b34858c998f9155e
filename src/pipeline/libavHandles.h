// libavHandles.h: owners for what FFmpeg's libraries hand out.
#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace quillet {

struct LibavFree {
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

/// A file opened for reading.
using LibavInput = std::unique_ptr<AVFormatContext, LibavFree>;
/// An encoder or a decoder.
using LibavCodec = std::unique_ptr<AVCodecContext, LibavFree>;
using LibavFrame = std::unique_ptr<AVFrame, LibavFree>;
using LibavPacket = std::unique_ptr<AVPacket, LibavFree>;

} // namespace quillet
