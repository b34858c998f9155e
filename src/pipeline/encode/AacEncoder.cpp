#include "pipeline/encode/AacEncoder.h"

#include "pipeline/libavHandles.h"

#include <algorithm>
#include <array>
#include <string>

extern "C" {
#include <libavutil/channel_layout.h>
}

namespace quillet {

namespace {

Error failure(const char* action, int code) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> words{};
    av_strerror(code, words.data(), words.size());
    return {"libavcodec", code, std::string(action) + ": " + words.data()};
}

} // namespace

struct AacEncoder::Library {
    LibavCodec context;
    LibavFrame frame{av_frame_alloc()};
    LibavPacket packet{av_packet_alloc()};
};

AacEncoder::AacEncoder(std::unique_ptr<Library> opened) : library(std::move(opened)) {
    const auto extra = std::as_bytes(
        std::span(library->context->extradata, static_cast<std::size_t>(library->context->extradata_size)));
    configuration.assign(extra.begin(), extra.end());
}

AacEncoder::~AacEncoder() = default;

std::unique_ptr<AacEncoder> AacEncoder::make(Error& error) {
    const AVCodec* codec = avcodec_find_encoder_by_name("aac");
    auto library = std::make_unique<Library>();
    library->context.reset(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!library->context || !library->frame || !library->packet) {
        error = failure("open the AAC encoder", codec ? AVERROR(ENOMEM) : AVERROR_ENCODER_NOT_FOUND);
        return nullptr;
    }

    AVCodecContext& context = *library->context;
    context.sample_fmt = AV_SAMPLE_FMT_FLTP;
    context.sample_rate = sampleRate;
    av_channel_layout_default(&context.ch_layout, channels);
    context.bit_rate = bitRate;
    context.profile = FF_PROFILE_AAC_LOW;
    context.time_base = {1, sampleRate};
    context.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    context.thread_count = 1;
    // The encoder likes to say what it did; only its errors are for the user.
    context.log_level_offset = AV_LOG_INFO - AV_LOG_ERROR;
    if (const int code = avcodec_open2(&context, codec, nullptr); code < 0) {
        error = failure("open the AAC encoder", code);
        return nullptr;
    }
    AVFrame& frame = *library->frame;
    frame.format = context.sample_fmt;
    frame.sample_rate = sampleRate;
    av_channel_layout_copy(&frame.ch_layout, &context.ch_layout);
    frame.nb_samples = static_cast<int>(packetSamples);
    if (const int code = av_frame_get_buffer(&frame, 0); code < 0) {
        error = failure("open the AAC encoder", code);
        return nullptr;
    }
    return std::unique_ptr<AacEncoder>(new AacEncoder(std::move(library)));
}

std::int64_t AacEncoder::priming() const { return library->context->initial_padding; }

std::optional<Error> AacEncoder::encode(std::span<const float> interleaved, const Output& output) {
    const std::size_t samples = interleaved.size() / channels;
    AVFrame& frame = *library->frame;
    // The library may still hold the last frame's memory.
    if (const int code = av_frame_make_writable(&frame); code < 0) return failure("encode sound", code);
    frame.nb_samples = static_cast<int>(samples);
    frame.pts = samplesIn;
    samplesIn += static_cast<std::int64_t>(samples);
    for (std::size_t channel = 0; channel < channels; ++channel) {
        auto* plane = reinterpret_cast<float*>(frame.extended_data[channel]);
        for (std::size_t i = 0; i < samples; ++i)
            plane[i] = interleaved[i * channels + channel];
    }
    if (const int code = avcodec_send_frame(library->context.get(), &frame); code < 0)
        return failure("encode sound", code);
    return collect(output);
}

std::optional<Error> AacEncoder::drain(const Output& output) {
    if (const int code = avcodec_send_frame(library->context.get(), nullptr); code < 0)
        return failure("encode sound", code);
    return collect(output);
}

std::optional<Error> AacEncoder::collect(const Output& output) {
    for (;;) {
        AVPacket* packet = library->packet.get();
        const int code = avcodec_receive_packet(library->context.get(), packet);
        if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) return std::nullopt;
        if (code < 0) return failure("encode sound", code);
        output(std::as_bytes(std::span(packet->data, static_cast<std::size_t>(packet->size))));
        av_packet_unref(packet);
    }
}

} // namespace quillet
