// MovieBoxes.h: the boxes of one picture track and one sound track, for a file in fragments and for an ordinary one.
#pragma once

#include "pipeline/mp4/BoxWriter.h"
#include "pipeline/mp4/SampleTable.h"

#include <span>

#include <cstdint>
#include <ctime>
#include <vector>

namespace quillet::mp4 {

struct VideoTrackFormat {
    int width = 0;  ///< pixels
    int height = 0; ///< pixels
    std::int32_t timescale = 1;
    std::vector<std::byte> avcConfiguration; ///< content of the avcC box
};

struct AudioTrackFormat {
    std::int32_t sampleRate = 48000; ///< also the track's timescale
    int channels = 2;
    std::int64_t bitRate = 0; ///< a second
    std::int64_t packetSamples = 1024;
    std::int64_t priming = 1024;                 ///< samples that the decoder gives before the first real one
    std::vector<std::byte> decoderConfiguration; ///< AudioSpecificConfig
};

/// The whole of one track as the ordinary movie box needs it.
struct FinishedVideo {
    const SampleTable& samples;
    std::int64_t endTicks; ///< when the last picture ends
};
struct FinishedAudio {
    const SampleTable& samples;
    std::int64_t length; ///< real samples, priming and end padding not counted
};

struct MovieFormats {
    const VideoTrackFormat& video;
    const AudioTrackFormat* audio; ///< null: no sound track
    std::time_t created;           ///< seconds since 1970
};

void writeFileType(BoxWriter& out);
/// The movie box in front of fragments: tracks without samples.
void writeFragmentedMovie(BoxWriter& out, const MovieFormats& formats);
/// The movie box of the ordinary file. `audio` is looked at only if the formats have sound.
void writeCompleteMovie(BoxWriter& out, const MovieFormats& formats, const FinishedVideo& video,
                        const FinishedAudio& audio);

/// One sample of a fragment. Sound needs only its size.
struct FragmentSample {
    std::uint32_t bytes = 0;
    std::int64_t ticks = 0;
    bool isSync = true;
};

struct Fragment {
    std::uint32_t number = 1; ///< counted from 1
    std::span<const FragmentSample> video;
    std::int64_t videoEndTicks = 0; ///< when the last of `video` ends
    std::span<const FragmentSample> audio;
    std::int64_t audioTicks = 0; ///< of the first of `audio`, priming counted
    std::int64_t audioPacketSamples = 1024;
    std::uint64_t videoBytes = 0; ///< sum over `video`, which lies in front
    std::uint64_t audioBytes = 0;
};

/// The moof box and the header of the mdat box that the samples, pictures first, must follow directly.
void writeFragmentHeader(BoxWriter& out, const Fragment& fragment);

} // namespace quillet::mp4
