#include "pipeline/ScreenPicture.h"

#include "pipeline/kernels/blend.h"

#include <algorithm>
#include <cstring>

namespace quillet {

namespace {

std::size_t bytes(int pixels) { return static_cast<std::size_t>(pixels) * 4; }

} // namespace

void ScreenPicture::writeRow(int row, int begin, int end, std::byte* into) const {
    const PixelRect wanted = PixelRect{begin, row, end - begin, 1}.offsetBy(region.x, region.y);
    const PixelRect known = wanted.intersection(screen.bounds());
    if (known != wanted) std::memset(into, 0, bytes(wanted.width));
    if (!known.isEmpty()) {
        std::byte* at = into + bytes(known.x - wanted.x);
        const std::byte* from = screen.row(known.y) + bytes(known.x);
        if (screen.alpha == Alpha::ignored)
            kernels::copyOpaque(at, from, static_cast<std::size_t>(known.width));
        else
            std::memcpy(at, from, bytes(known.width));
    }

    if (!circle || row < circleY || row >= circleY + circle->side()) return;
    const CircleMask::Span span = circle->span(row - circleY);
    const int from = std::max(begin, circleX + span.begin);
    const int to = std::min(end, circleX + span.end);
    if (from >= to) return;
    std::byte* under = into + bytes(from - begin);
    kernels::composite(under, circle->row(row - circleY) + bytes(from - circleX), under,
                       static_cast<std::size_t>(to - from));
}

const std::byte* ScreenPicture::plainRow(int row, int begin, int end, int overread) const {
    const PixelRect wanted = PixelRect{begin, row, end - begin, 1}.offsetBy(region.x, region.y);
    if (region.x < 0 || !screen.bounds().contains(wanted)) return nullptr;
    if (circle && row >= circleY && row < circleY + circle->side()) return nullptr;
    // The next row follows this one.
    const bool isInMemory = wanted.right() + overread <= screen.width() ||
                            (wanted.bottom() < screen.height() && bytes(overread) <= screen.strideBytes());
    return isInMemory ? screen.row(wanted.y) + bytes(region.x) : nullptr;
}

bool ScreenPicture::isOpaque() const { return screen.alpha == Alpha::ignored && screen.bounds().contains(region); }

} // namespace quillet
