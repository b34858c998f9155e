// EncoderPicture.h: the one picture that an encoder reads, kept up to date where frames differ.
#pragma once

#include "media/PixelBuffer.h"
#include "pipeline/encode/DamageLedger.h"
#include "pipeline/encode/VideoEncoder.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace quillet {

/// Holds the newest frame as NV12 and knows which blocks of 16 x 16 pixels have changed since the last picture was
/// encoded.
///
/// Threads: one at a time.
class EncoderPicture {
public:
    /// `width` and `height` in pixels, even. Null if memory is short.
    [[nodiscard]] static std::unique_ptr<EncoderPicture> make(int width, int height);

    /// Takes over `frame` (of this size) where `damage` says that it differs from the frame before.
    void update(const PixelBuffer& frame, const FrameDamage& damage);
    /// The picture for the encoder, as long as nothing is updated.
    [[nodiscard]] VideoEncoderPicture picture() const;
    /// The encoder has taken the picture: from here on every block counts as unchanged.
    void settle();

private:
    EncoderPicture(int width, int height);
    void convert(const PixelBuffer& frame, const PixelRect& rect);

    int width;
    int height;
    std::size_t strideBytes;                // of both planes
    std::unique_ptr<std::uint8_t[]> pixels; // luma rows, then chroma rows
    int blocksAcross;
    std::vector<std::uint8_t> unchangedBlocks;
};

} // namespace quillet
