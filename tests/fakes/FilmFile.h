// FilmFile.h: what an independent reader finds in a finished file.
#pragma once

#include "media/MediaTime.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

extern "C" {
#include <libavformat/avformat.h>
}

namespace quillet::fakes {

/// The packets of a file, in file order of each track, with their exact times.
struct FilmFile {
    struct Packet {
        MediaTime time;
        MediaTime duration;
        bool isKey = false;
    };
    int width = 0;
    int height = 0;
    std::vector<Packet> video;
    std::vector<Packet> audio;
    bool hasAudioTrack = false;

    [[nodiscard]] static std::optional<FilmFile> read(const std::filesystem::path& path) {
        AVFormatContext* opened = nullptr;
        if (avformat_open_input(&opened, path.c_str(), nullptr, nullptr) < 0) return std::nullopt;
        const std::unique_ptr<AVFormatContext, Closer> format(opened);
        if (avformat_find_stream_info(opened, nullptr) < 0) return std::nullopt;

        FilmFile film;
        for (unsigned i = 0; i < opened->nb_streams; ++i) {
            const AVCodecParameters& track = *opened->streams[i]->codecpar;
            if (track.codec_type == AVMEDIA_TYPE_VIDEO) {
                film.width = track.width;
                film.height = track.height;
            }
            film.hasAudioTrack |= track.codec_type == AVMEDIA_TYPE_AUDIO;
        }
        const std::unique_ptr<AVPacket, Freer> packet(av_packet_alloc());
        while (av_read_frame(opened, packet.get()) >= 0) {
            const AVStream& stream = *opened->streams[packet->stream_index];
            const auto exact = [&](std::int64_t ticks) {
                return MediaTime{ticks * stream.time_base.num, stream.time_base.den};
            };
            const bool isVideo = stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
            (isVideo ? film.video : film.audio)
                .push_back({exact(packet->pts), exact(packet->duration), (packet->flags & AV_PKT_FLAG_KEY) != 0});
            av_packet_unref(packet.get());
        }
        return film;
    }

private:
    struct Closer {
        void operator()(AVFormatContext* format) const { avformat_close_input(&format); }
    };
    struct Freer {
        void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    };
};

} // namespace quillet::fakes
