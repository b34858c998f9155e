// ReadMovie.h: a finished or unfinished file as an independent reader and decoder (FFmpeg) sees it.
#pragma once

#include "media/MediaTime.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace quillet::test {

struct MoviePacket {
    std::int64_t pts = 0; ///< in the track's ticks
    std::int64_t dts = 0;
    std::int64_t duration = 0;
    bool isKey = false;
};

/// A decoded picture, as the decoder gives it: planes of 4:2:0.
struct MoviePicture {
    std::int64_t pts = 0;
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> luma, cb, cr; ///< without padding; cb and cr half as wide and high

    /// Red, green, blue at one pixel, in doubles from BT.709 limited range.
    [[nodiscard]] std::array<double, 3> colourAt(int x, int y) const;
};

struct MovieTrack {
    std::int32_t timescale = 1;
    int width = 0; ///< of a picture
    int height = 0;
    double startSeconds = 0;
    double durationSeconds = 0;
    int profile = 0;
    int hasBFrames = 0;
    int primaries = 0, transfer = 0, matrix = 0, range = 0, chromaLocation = 0;
    std::vector<MoviePacket> packets;

    [[nodiscard]] MediaTime timeOf(std::int64_t ticks) const { return {ticks, timescale}; }
};

struct Movie {
    bool isOpen = false;
    bool isFragmented = false; ///< there are moof boxes at the top level
    double durationSeconds = 0;
    std::optional<MovieTrack> video, audio;
    std::vector<MoviePicture> pictures;      ///< if asked for
    std::vector<std::array<float, 2>> sound; ///< if asked for; from the first sample that is shown
    double soundStart = 0;                   ///< seconds
};

enum class ReadDepth { packets, pictures };

/// Opens, reads everything and, if asked, decodes everything.
[[nodiscard]] Movie readMovie(const std::filesystem::path& path, ReadDepth depth = ReadDepth::packets);

/// Types of the boxes at the file's top level, in order.
[[nodiscard]] std::vector<std::string> topBoxes(const std::filesystem::path& path);

} // namespace quillet::test
