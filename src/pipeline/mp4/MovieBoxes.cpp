// Box layouts as ISO/IEC 14496-12 (boxes), 14496-14 (esds) and 14496-15 (avc1, avcC) give them. Every box with times is
// written in its 64-bit version, so that long recordings need no second form.

#include "pipeline/mp4/MovieBoxes.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace quillet::mp4 {

namespace {

constexpr std::uint32_t videoTrack = 1;
constexpr std::uint32_t audioTrack = 2;

// sample_flags: depends on no other sample; depends on others and cannot be started from.
constexpr std::uint32_t syncSampleFlags = 0x0200'0000;
constexpr std::uint32_t dependentSampleFlags = 0x0101'0000;

__extension__ using Wide = __int128;

// Both tracks' times are exact in the movie's timescale wherever that fits.
std::int64_t movieTimescale(const MovieFormats& formats) {
    const std::int64_t video = formats.video.timescale;
    if (!formats.audio) return video;
    const std::int64_t common = std::lcm(video, static_cast<std::int64_t>(formats.audio->sampleRate));
    return common <= std::numeric_limits<std::int32_t>::max() ? common : video;
}

std::uint64_t rescaled(std::int64_t ticks, std::int64_t from, std::int64_t to) {
    return static_cast<std::uint64_t>((static_cast<Wide>(ticks) * to + from / 2) / from);
}

// The format counts seconds since 1904.
std::uint64_t creationTime(const MovieFormats& formats) {
    return static_cast<std::uint64_t>(formats.created) + 2'082'844'800U;
}

void writeMatrix(BoxWriter& out) {
    for (const std::uint32_t value : {0x10000U, 0U, 0U, 0U, 0x10000U, 0U, 0U, 0U, 0x4000'0000U})
        out.u32(value);
}

void writeMovieHeader(BoxWriter& out, const MovieFormats& formats, std::uint64_t duration) {
    out.fullBox("mvhd", 1, 0, [&] {
        out.u64(creationTime(formats));
        out.u64(creationTime(formats));
        out.u32(static_cast<std::uint32_t>(movieTimescale(formats)));
        out.u64(duration);
        out.u32(0x10000); // rate 1
        out.u16(0x100);   // volume 1
        out.zeros(10);
        writeMatrix(out);
        out.zeros(24);
        out.u32(audioTrack + 1); // the next free track
    });
}

struct TrackHeader {
    std::uint32_t id;
    std::uint64_t movieDuration;
    int width = 0;
    int height = 0;
};

void writeTrackHeader(BoxWriter& out, const MovieFormats& formats, const TrackHeader& track) {
    out.fullBox("tkhd", 1, 3, [&] { // enabled, in the movie
        out.u64(creationTime(formats));
        out.u64(creationTime(formats));
        out.u32(track.id);
        out.zeros(4);
        out.u64(track.movieDuration);
        out.zeros(8);
        out.u16(0);                                  // layer
        out.u16(0);                                  // alternate group
        out.u16(track.id == audioTrack ? 0x100 : 0); // volume
        out.zeros(2);
        writeMatrix(out);
        out.u32(static_cast<std::uint32_t>(track.width) << 16);
        out.u32(static_cast<std::uint32_t>(track.height) << 16);
    });
}

struct Edit {
    std::uint64_t movieDuration; ///< 0 in front of fragments: to the end
    std::int64_t mediaTicks;     ///< -1: nothing is shown
};

void writeEdits(BoxWriter& out, std::span<const Edit> edits) {
    if (edits.empty()) return;
    out.box("edts", [&] {
        out.fullBox("elst", 1, 0, [&] {
            out.u32(static_cast<std::uint32_t>(edits.size()));
            for (const Edit& edit : edits) {
                out.u64(edit.movieDuration);
                out.u64(static_cast<std::uint64_t>(edit.mediaTicks));
                out.u32(0x10000); // rate 1
            }
        });
    });
}

void writeMediaHeader(BoxWriter& out, const MovieFormats& formats, std::int32_t timescale, std::int64_t duration) {
    out.fullBox("mdhd", 1, 0, [&] {
        out.u64(creationTime(formats));
        out.u64(creationTime(formats));
        out.u32(static_cast<std::uint32_t>(timescale));
        out.u64(static_cast<std::uint64_t>(duration));
        out.u16(0x55C4); // language "und"
        out.u16(0);
    });
}

void writeHandler(BoxWriter& out, std::string_view type, std::string_view name) {
    out.fullBox("hdlr", 0, 0, [&] {
        out.u32(0);
        out.text(type);
        out.zeros(12);
        out.text(name);
        out.u8(0);
    });
}

void writeDataInformation(BoxWriter& out) {
    out.box("dinf", [&] {
        out.fullBox("dref", 0, 0, [&] {
            out.u32(1);
            out.fullBox("url ", 0, 1, [] {}); // the samples are in this file
        });
    });
}

void writeVideoDescription(BoxWriter& out, const VideoTrackFormat& format) {
    out.fullBox("stsd", 0, 0, [&] {
        out.u32(1);
        out.box("avc1", [&] {
            out.zeros(6);
            out.u16(1); // data reference
            out.zeros(16);
            out.u16(static_cast<std::uint32_t>(format.width));
            out.u16(static_cast<std::uint32_t>(format.height));
            out.u32(0x48'0000); // 72 dots an inch
            out.u32(0x48'0000);
            out.zeros(4);
            out.u16(1); // pictures in a sample
            out.zeros(32);
            out.u16(24);     // depth
            out.u16(0xFFFF); // no colour table
            out.box("avcC", [&] { out.raw(format.avcConfiguration); });
            out.box("colr", [&] { // BT.709 throughout, limited range
                out.text("nclx");
                out.u16(1);
                out.u16(1);
                out.u16(1);
                out.u8(0);
            });
            out.box("pasp", [&] {
                out.u32(1);
                out.u32(1);
            });
        });
    });
}

void writeDescriptor(BoxWriter& out, std::uint32_t tag, std::size_t length) {
    out.u8(tag);
    out.u8(static_cast<std::uint32_t>(length)); // all of ours are below 128
}

void writeAudioDescription(BoxWriter& out, const AudioTrackFormat& format) {
    out.fullBox("stsd", 0, 0, [&] {
        out.u32(1);
        out.box("mp4a", [&] {
            out.zeros(6);
            out.u16(1); // data reference
            out.zeros(8);
            out.u16(static_cast<std::uint32_t>(format.channels));
            out.u16(16); // bits a sample, by convention
            out.zeros(4);
            out.u32(static_cast<std::uint32_t>(format.sampleRate) << 16);
            out.fullBox("esds", 0, 0, [&] {
                const std::size_t specific = format.decoderConfiguration.size();
                const std::size_t decoder = 13 + 2 + specific;
                writeDescriptor(out, 3, 3 + 2 + decoder + 3); // elementary stream
                out.u16(audioTrack);
                out.u8(0);
                writeDescriptor(out, 4, decoder);
                out.u8(0x40); // MPEG-4 audio
                out.u8(0x15); // an audio stream
                out.u24(0);
                out.u32(static_cast<std::uint32_t>(format.bitRate));
                out.u32(static_cast<std::uint32_t>(format.bitRate));
                writeDescriptor(out, 5, specific);
                out.raw(format.decoderConfiguration);
                writeDescriptor(out, 6, 1);
                out.u8(2); // as MP4 files have it
            });
        });
    });
}

void writeVideoTrack(BoxWriter& out, const MovieFormats& formats, const FinishedVideo& video) {
    const VideoTrackFormat& format = formats.video;
    const std::int64_t scale = movieTimescale(formats);
    const std::int64_t start = video.samples.firstTicks();
    out.box("trak", [&] {
        writeTrackHeader(out, formats,
                         {videoTrack, rescaled(video.endTicks, format.timescale, scale), format.width, format.height});
        if (start > 0) {
            const Edit edits[] = {{rescaled(start, format.timescale, scale), -1},
                                  {rescaled(video.endTicks - start, format.timescale, scale), 0}};
            writeEdits(out, edits);
        }
        out.box("mdia", [&] {
            writeMediaHeader(out, formats, format.timescale, video.endTicks - start);
            writeHandler(out, "vide", "Picture");
            out.box("minf", [&] {
                out.fullBox("vmhd", 0, 1, [&] { out.zeros(8); });
                writeDataInformation(out);
                out.box("stbl", [&] {
                    writeVideoDescription(out, format);
                    video.samples.write(out, video.endTicks);
                });
            });
        });
    });
}

void writeAudioTrack(BoxWriter& out, const MovieFormats& formats, const FinishedAudio& audio) {
    const AudioTrackFormat& format = *formats.audio;
    const std::uint64_t duration = rescaled(audio.length, format.sampleRate, movieTimescale(formats));
    const auto packets = static_cast<std::int64_t>(audio.samples.count());
    const std::int64_t mediaDuration = packets * format.packetSamples;
    out.box("trak", [&] {
        writeTrackHeader(out, formats, {audioTrack, duration});
        const Edit edits[] = {{duration, format.priming}};
        writeEdits(out, edits);
        out.box("mdia", [&] {
            writeMediaHeader(out, formats, format.sampleRate, mediaDuration);
            writeHandler(out, "soun", "Sound");
            out.box("minf", [&] {
                out.fullBox("smhd", 0, 0, [&] { out.zeros(4); });
                writeDataInformation(out);
                out.box("stbl", [&] {
                    writeAudioDescription(out, format);
                    audio.samples.write(out, mediaDuration);
                });
            });
        });
    });
}

} // namespace

void writeFileType(BoxWriter& out) {
    out.box("ftyp", [&] {
        out.text("isom");
        out.u32(0x200);
        for (const char* brand : {"isom", "iso2", "iso6", "avc1", "mp41"})
            out.text(brand);
    });
}

void writeFragmentedMovie(BoxWriter& out, const MovieFormats& formats) {
    const SampleTable noVideo(SampleTable::Sync::every);
    const SampleTable noAudio(SampleTable::Sync::every);
    out.box("moov", [&] {
        writeMovieHeader(out, formats, 0);
        writeVideoTrack(out, formats, {noVideo, 0});
        if (formats.audio) writeAudioTrack(out, formats, {noAudio, 0});
        out.box("mvex", [&] {
            for (std::uint32_t track = videoTrack; track <= (formats.audio ? audioTrack : videoTrack); ++track)
                out.fullBox("trex", 0, 0, [&] {
                    out.u32(track);
                    out.u32(1); // sample description
                    out.zeros(12);
                });
        });
    });
}

void writeCompleteMovie(BoxWriter& out, const MovieFormats& formats, const FinishedVideo& video,
                        const FinishedAudio& audio) {
    const std::int64_t scale = movieTimescale(formats);
    std::uint64_t duration = rescaled(video.endTicks, formats.video.timescale, scale);
    if (formats.audio) duration = std::max(duration, rescaled(audio.length, formats.audio->sampleRate, scale));
    out.box("moov", [&] {
        writeMovieHeader(out, formats, duration);
        writeVideoTrack(out, formats, video);
        if (formats.audio) writeAudioTrack(out, formats, audio);
    });
}

void writeFragmentHeader(BoxWriter& out, const Fragment& fragment) {
    const std::size_t start = out.size();
    std::size_t videoOffsetAt = 0;
    std::size_t audioOffsetAt = 0;
    out.box("moof", [&] {
        out.fullBox("mfhd", 0, 0, [&] { out.u32(fragment.number); });
        if (!fragment.video.empty())
            out.box("traf", [&] {
                out.fullBox("tfhd", 0, 0x2'0000, [&] { out.u32(videoTrack); }); // offsets count from the moof box
                out.fullBox("tfdt", 1, 0, [&] { out.u64(static_cast<std::uint64_t>(fragment.video.front().ticks)); });
                out.fullBox("trun", 0, 0x701, [&] { // data offset; duration, size and flags of each sample
                    out.u32(static_cast<std::uint32_t>(fragment.video.size()));
                    videoOffsetAt = out.size();
                    out.u32(0);
                    for (std::size_t i = 0; i < fragment.video.size(); ++i) {
                        const FragmentSample& sample = fragment.video[i];
                        const std::int64_t end =
                            i + 1 < fragment.video.size() ? fragment.video[i + 1].ticks : fragment.videoEndTicks;
                        out.u32(static_cast<std::uint32_t>(std::clamp<std::int64_t>(
                            end - sample.ticks, 0, std::numeric_limits<std::uint32_t>::max())));
                        out.u32(sample.bytes);
                        out.u32(sample.isSync ? syncSampleFlags : dependentSampleFlags);
                    }
                });
            });
        if (!fragment.audio.empty())
            out.box("traf", [&] {
                out.fullBox("tfhd", 0, 0x2'0028, [&] { // as above, with the duration and flags of every sample
                    out.u32(audioTrack);
                    out.u32(static_cast<std::uint32_t>(fragment.audioPacketSamples));
                    out.u32(syncSampleFlags);
                });
                out.fullBox("tfdt", 1, 0, [&] { out.u64(static_cast<std::uint64_t>(fragment.audioTicks)); });
                out.fullBox("trun", 0, 0x201, [&] { // data offset; size of each sample
                    out.u32(static_cast<std::uint32_t>(fragment.audio.size()));
                    audioOffsetAt = out.size();
                    out.u32(0);
                    for (const FragmentSample& sample : fragment.audio)
                        out.u32(sample.bytes);
                });
            });
    });
    constexpr std::size_t mdatHeader = 8;
    const std::uint64_t data = out.size() - start + mdatHeader;
    if (videoOffsetAt) out.patch32(videoOffsetAt, static_cast<std::uint32_t>(data));
    if (audioOffsetAt) out.patch32(audioOffsetAt, static_cast<std::uint32_t>(data + fragment.videoBytes));
    out.u32(static_cast<std::uint32_t>(mdatHeader + fragment.videoBytes + fragment.audioBytes));
    out.text("mdat");
}

} // namespace quillet::mp4
