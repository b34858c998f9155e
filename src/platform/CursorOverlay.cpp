#include "platform/CursorOverlay.h"

#include "geometry/fatal.h"

#include <algorithm>
#include <cstring>

namespace quillet {

namespace {

// `source` (premultiplied) over the opaque pixel at `target`, both with the colours in the same bytes.
void blendOver(std::byte* target, std::uint32_t source) {
    const std::uint32_t alpha = source >> 24;
    if (alpha == 0 && source == 0) return;
    for (unsigned channel = 0; channel < 3; ++channel) {
        const std::uint32_t over = source >> (8 * channel) & 0xffU;
        const std::uint32_t under = std::to_integer<std::uint32_t>(target[channel]);
        target[channel] = static_cast<std::byte>(std::min(255U, over + (under * (255 - alpha) + 127) / 255));
    }
}

} // namespace

bool CursorImage::isVisible() const {
    return std::ranges::any_of(pixels, [](std::uint32_t pixel) { return pixel != 0; });
}

void CursorOverlay::setImage(CursorImage newImage) {
    if (static_cast<std::size_t>(newImage.width) * static_cast<std::size_t>(newImage.height) != newImage.pixels.size())
        fatal("a pointer's picture does not fit its size");
    image = std::move(newImage);
    visible = image.isVisible();
}

PixelRect CursorOverlay::placeAt(int x, int y, const PixelRect& bounds) const {
    if (!visible) return {};
    const PixelRect place = PixelRect{x - image.hotX, y - image.hotY, image.width, image.height}.intersection(bounds);
    return place.isEmpty() ? PixelRect{} : place;
}

void CursorOverlay::erase(PixelBuffer& frame) {
    const std::size_t bytes = static_cast<std::size_t>(drawnAt.width) * 4;
    for (int row = 0; row < drawnAt.height; ++row)
        std::memcpy(frame.row(drawnAt.y + row) + static_cast<std::size_t>(drawnAt.x) * 4,
                    beneath.data() + static_cast<std::size_t>(row) * bytes, bytes);
    drawnAt = {};
}

void CursorOverlay::draw(PixelBuffer& frame, int x, int y, const PixelRect& bounds) {
    if (!drawnAt.isEmpty()) fatal("the pointer is drawn twice");
    drawnAt = placeAt(x, y, bounds);
    const std::size_t bytes = static_cast<std::size_t>(drawnAt.width) * 4;
    beneath.resize(bytes * static_cast<std::size_t>(drawnAt.height));
    for (int row = 0; row < drawnAt.height; ++row) {
        std::byte* target = frame.row(drawnAt.y + row) + static_cast<std::size_t>(drawnAt.x) * 4;
        std::memcpy(beneath.data() + static_cast<std::size_t>(row) * bytes, target, bytes);
        const int imageRow = drawnAt.y + row - (y - image.hotY);
        const int imageColumn = drawnAt.x - (x - image.hotX);
        const std::uint32_t* source =
            image.pixels.data() + static_cast<std::ptrdiff_t>(imageRow) * image.width + imageColumn;
        for (int column = 0; column < drawnAt.width; ++column)
            blendOver(target + static_cast<std::ptrdiff_t>(column) * 4, source[column]);
    }
}

} // namespace quillet
