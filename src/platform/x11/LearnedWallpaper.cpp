#include "platform/x11/LearnedWallpaper.h"

#include <cstring>

namespace quillet {

void LearnedWallpaper::forget() {
    known = {};
    colour = unset;
}

void LearnedWallpaper::learn(const QRect& rect, const std::byte* pixels, std::size_t strideBytes) {
    if (rect.isEmpty()) return;
    known += rect;
    const std::byte* const last = pixels + static_cast<std::size_t>(rect.height() - 1) * strideBytes +
                                  static_cast<std::size_t>(rect.width() - 1) * 4;
    std::uint32_t pixel = 0;
    std::memcpy(&pixel, last, sizeof pixel);
    colour = pixel & 0xffffffU;
}

} // namespace quillet
