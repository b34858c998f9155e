#include "tests/fakes/ReadMovie.h"

#include "pipeline/libavHandles.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <memory>

namespace quillet::test {

namespace {

std::vector<std::uint8_t> plane(const AVFrame& frame, std::size_t index, int width, int height) {
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y)
        std::memcpy(pixels.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width),
                    frame.data[index] + static_cast<std::ptrdiff_t>(y) * frame.linesize[index],
                    static_cast<std::size_t>(width));
    return pixels;
}

LibavCodec openDecoder(const AVStream& stream) {
    const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    LibavCodec decoder(avcodec_alloc_context3(codec));
    if (avcodec_parameters_to_context(decoder.get(), stream.codecpar) < 0) return nullptr;
    decoder->thread_count = 1;
    decoder->pkt_timebase = stream.time_base;
    if (avcodec_open2(decoder.get(), codec, nullptr) < 0) return nullptr;
    return decoder;
}

void keepPicture(Movie& movie, const AVFrame& frame) {
    MoviePicture picture;
    picture.pts = frame.pts;
    picture.width = frame.width;
    picture.height = frame.height;
    picture.luma = plane(frame, 0, frame.width, frame.height);
    picture.cb = plane(frame, 1, frame.width / 2, frame.height / 2);
    picture.cr = plane(frame, 2, frame.width / 2, frame.height / 2);
    movie.pictures.push_back(std::move(picture));
}

void keepSound(Movie& movie, const AVFrame& frame, const AVStream& stream) {
    if (movie.sound.empty()) movie.soundStart = static_cast<double>(frame.pts) * av_q2d(stream.time_base);
    const auto* left = reinterpret_cast<const float*>(frame.extended_data[0]);
    const auto* right = reinterpret_cast<const float*>(frame.extended_data[1]);
    for (int i = 0; i < frame.nb_samples; ++i)
        movie.sound.push_back({left[i], right[i]});
}

void drain(Movie& movie, AVCodecContext& decoder, AVFrame& frame, const AVStream& stream) {
    while (avcodec_receive_frame(&decoder, &frame) >= 0) {
        if (decoder.codec_type == AVMEDIA_TYPE_VIDEO)
            keepPicture(movie, frame);
        else
            keepSound(movie, frame, stream);
        av_frame_unref(&frame);
    }
}

MovieTrack describe(const AVStream& stream) {
    MovieTrack track;
    track.timescale = stream.time_base.den / std::max(1, stream.time_base.num);
    track.width = stream.codecpar->width;
    track.height = stream.codecpar->height;
    track.startSeconds = static_cast<double>(stream.start_time) * av_q2d(stream.time_base);
    track.durationSeconds = static_cast<double>(stream.duration) * av_q2d(stream.time_base);
    track.profile = stream.codecpar->profile;
    track.hasBFrames = stream.codecpar->video_delay;
    track.primaries = stream.codecpar->color_primaries;
    track.transfer = stream.codecpar->color_trc;
    track.matrix = stream.codecpar->color_space;
    track.range = stream.codecpar->color_range;
    track.chromaLocation = stream.codecpar->chroma_location;
    return track;
}

} // namespace

std::array<double, 3> MoviePicture::colourAt(int x, int y) const {
    const auto at = [](const std::vector<std::uint8_t>& values, int across, int column, int row) {
        return static_cast<double>(values[static_cast<std::size_t>(row) * static_cast<std::size_t>(across) +
                                          static_cast<std::size_t>(column)]);
    };
    const double luma255 = (at(luma, width, x, y) - 16) * 255 / 219;
    const double blueDifference = (at(cb, width / 2, x / 2, y / 2) - 128) * 255 / 224;
    const double redDifference = (at(cr, width / 2, x / 2, y / 2) - 128) * 255 / 224;
    const double red = luma255 + 1.5748 * redDifference;
    const double blue = luma255 + 1.8556 * blueDifference;
    const double green = (luma255 - 0.2126 * red - 0.0722 * blue) / 0.7152;
    return {std::clamp(red, 0.0, 255.0), std::clamp(green, 0.0, 255.0), std::clamp(blue, 0.0, 255.0)};
}

Movie readMovie(const std::filesystem::path& path, ReadDepth depth) {
    av_log_set_level(AV_LOG_QUIET);
    Movie movie;
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, path.c_str(), nullptr, nullptr) < 0) return movie;
    const LibavInput input(opened);
    if (avformat_find_stream_info(opened, nullptr) < 0) return movie;
    movie.isOpen = true;
    movie.durationSeconds = static_cast<double>(opened->duration) / AV_TIME_BASE;
    const std::vector<std::string> boxes = topBoxes(path);
    movie.isFragmented = std::find(boxes.begin(), boxes.end(), "moof") != boxes.end();

    std::vector<LibavCodec> decoders(opened->nb_streams);
    for (unsigned i = 0; i < opened->nb_streams; ++i) {
        const AVStream& stream = *opened->streams[i];
        (stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO ? movie.video : movie.audio) = describe(stream);
        if (depth == ReadDepth::pictures) decoders[i] = openDecoder(stream);
    }
    const LibavPacket packet(av_packet_alloc());
    const LibavFrame frame(av_frame_alloc());
    while (av_read_frame(opened, packet.get()) >= 0) {
        const auto index = static_cast<std::size_t>(packet->stream_index);
        const AVStream& stream = *opened->streams[index];
        (stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO ? movie.video : movie.audio)
            ->packets.push_back({packet->pts, packet->dts, packet->duration, (packet->flags & AV_PKT_FLAG_KEY) != 0});
        if (decoders[index] && avcodec_send_packet(decoders[index].get(), packet.get()) >= 0)
            drain(movie, *decoders[index], *frame, stream);
        av_packet_unref(packet.get());
    }
    for (std::size_t i = 0; i < decoders.size(); ++i)
        if (decoders[i] && avcodec_send_packet(decoders[i].get(), nullptr) >= 0)
            drain(movie, *decoders[i], *frame, *opened->streams[i]);
    return movie;
}

std::vector<std::string> topBoxes(const std::filesystem::path& path) {
    std::vector<std::string> types;
    std::ifstream file(path, std::ios::binary);
    std::uint64_t at = 0;
    std::array<unsigned char, 16> header{};
    while (file.seekg(static_cast<std::streamoff>(at)).read(reinterpret_cast<char*>(header.data()), 8)) {
        std::uint64_t size = 0;
        for (std::size_t i = 0; i < 4; ++i)
            size = size << 8 | header[i];
        types.emplace_back(reinterpret_cast<const char*>(header.data()) + 4, 4);
        if (size == 1) {
            file.read(reinterpret_cast<char*>(header.data()) + 8, 8);
            size = 0;
            for (std::size_t i = 8; i < 16; ++i)
                size = size << 8 | header[i];
        }
        if (size < 8) break;
        at += size;
    }
    return types;
}

} // namespace quillet::test
