// CameraPictureConverter.h: whatever a camera sends becomes BGRA.
#pragma once

#include "media/PixelBuffer.h"
#include "pipeline/PixelBufferPool.h"
#include "platform/pipewire/CameraFormat.h"
#include "platform/pipewire/CameraPicture.h"
#include "platform/pipewire/JpegDecoder.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace quillet {

/// Writes each picture once, upright, into a recycled frame. Colour differences are taken as they come, without
/// smoothing between pixels: the bubble shows the picture much smaller.
///
/// Threads: one at a time; frames may be let go on any.
class CameraPictureConverter {
public:
    /// An opaque frame, its `sequence` counting calls; null when the picture is incomplete, damaged or of no possible
    /// size, and when all frames are lent. A JPEG's own size counts, not the format's.
    [[nodiscard]] ConstPixelBufferRef convert(const CameraFormat& format, const CameraPicture& picture);

private:
    [[nodiscard]] PixelBufferRef frameOf(int width, int height);
    [[nodiscard]] PixelBufferRef readRaw(const CameraFormat& format, const CameraPicture& picture);
    [[nodiscard]] PixelBufferRef readJpeg(const CameraPicture& picture);
    [[nodiscard]] PixelBufferRef target(int width, int height, const CameraTurn& turn);
    [[nodiscard]] PixelBufferRef upright(const PixelBufferRef& drawn, const CameraTurn& turn);

    std::uint64_t lastSequence = 0;
    std::unique_ptr<PixelBufferPool> pool; // of the size of the last frame
    PixelBufferRef unturned;               // a turned picture before it is put upright
    std::unique_ptr<JpegDecoder> jpegDecoder;
    std::vector<std::uint8_t> noColour; // a row of neutral colour differences, for grey JPEGs
};

} // namespace quillet
