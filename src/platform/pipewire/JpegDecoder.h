// JpegDecoder.h: reads the pictures of cameras that send JPEG.
#pragma once

#include "pipeline/libavHandles.h"

#include <span>

#include <cstddef>
#include <memory>
#include <vector>

namespace quillet {

/// Threads: one at a time.
class JpegDecoder {
public:
    /// Null when the decoder is missing in this build of the library, or memory is short.
    [[nodiscard]] static std::unique_ptr<JpegDecoder> make();

    /// The picture, until the next call; null when the data is damaged or ends too early, or when its size is beyond
    /// what cameras have.
    [[nodiscard]] const AVFrame* decode(std::span<const std::byte> data);

private:
    JpegDecoder(LibavCodec opened, LibavPacket packetToUse, LibavFrame frameToUse);

    LibavCodec decoder;
    LibavPacket packet;
    LibavFrame frame;
    std::vector<std::byte> padded; // the data, followed by the zeros that the decoder may read
};

} // namespace quillet
