#include "pipeline/encode/EncoderPicture.h"

#include "geometry/fatal.h"
#include "pipeline/kernels/BgraToNv12.h"

#include <algorithm>
#include <new>

namespace quillet {

EncoderPicture::EncoderPicture(int pictureWidth, int pictureHeight)
    : width(pictureWidth), height(pictureHeight), strideBytes((static_cast<std::size_t>(pictureWidth) + 63) / 64 * 64),
      blocksAcross((pictureWidth + 15) / 16),
      unchangedBlocks(static_cast<std::size_t>(blocksAcross) * static_cast<std::size_t>((pictureHeight + 15) / 16)) {}

std::unique_ptr<EncoderPicture> EncoderPicture::make(int width, int height) {
    std::unique_ptr<EncoderPicture> made(new EncoderPicture(width, height));
    const std::size_t bytes = made->strideBytes * static_cast<std::size_t>(height + height / 2);
    made->pixels.reset(new (std::nothrow) std::uint8_t[bytes]());
    return made->pixels ? std::move(made) : nullptr;
}

void EncoderPicture::convert(const PixelBuffer& frame, const PixelRect& rect) {
    // Colour is shared by 2 x 2 pixels: a rectangle reaches to even coordinates on every side.
    const PixelRect cut = rect.intersection({0, 0, width, height});
    if (cut.isEmpty()) return;
    const int left = cut.x & ~1;
    const int top = cut.y & ~1;
    const int right = (cut.right() + 1) & ~1;
    const int bottom = (cut.bottom() + 1) & ~1;

    std::uint8_t* luma = pixels.get() + static_cast<std::size_t>(top) * strideBytes + left;
    std::uint8_t* chroma = pixels.get() + static_cast<std::size_t>(height + top / 2) * strideBytes + left;
    bgraToNv12(frame.row(top) + static_cast<std::size_t>(left) * 4, frame.strideBytes(), right - left, bottom - top,
               {luma, strideBytes, chroma, strideBytes});

    for (int row = top / 16; row <= (bottom - 1) / 16; ++row)
        std::fill_n(unchangedBlocks.begin() + row * blocksAcross + left / 16, (right - 1) / 16 - left / 16 + 1,
                    std::uint8_t{0});
}

void EncoderPicture::update(const PixelBuffer& frame, const FrameDamage& damage) {
    if (frame.width() != width || frame.height() != height) fatal("a frame is not of the size of its recording");
    if (damage.isEverything) {
        convert(frame, frame.bounds());
        return;
    }
    for (const PixelRect& rect : damage.region.rects())
        convert(frame, rect);
}

VideoEncoderPicture EncoderPicture::picture() const {
    return {pixels.get(), strideBytes, pixels.get() + static_cast<std::size_t>(height) * strideBytes, strideBytes,
            unchangedBlocks};
}

void EncoderPicture::settle() { std::fill(unchangedBlocks.begin(), unchangedBlocks.end(), std::uint8_t{1}); }

} // namespace quillet
