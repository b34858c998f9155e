// LearnedWallpaper.h: what is known of a background that nobody tells.
#pragma once

#include <QRegion>

#include <cstddef>
#include <cstdint>
#include <optional>

namespace quillet {

/// Some compositing managers draw a background of their own. Where no window lies, the screen shows it; this says
/// which of those pixels are news, and what colour to expect where none was seen yet.
///
/// Threads: a value.
class LearnedWallpaper {
public:
    /// Nothing is known.
    void forget();
    /// Of `visible`, the part that is not known yet.
    [[nodiscard]] QRegion news(const QRegion& visible) const { return visible - known; }
    /// `pixels` are rows of BGRX at the region's rectangle `rect`, which is now known.
    void learn(const QRect& rect, const std::byte* pixels, std::size_t strideBytes);

    [[nodiscard]] const QRegion& knownPart() const { return known; }
    /// The background's only colour so far, as 0xRRGGBB, else the last one that was seen; when nothing is known, the
    /// grey that picom and xcompmgr paint where no program has set anything.
    [[nodiscard]] std::uint32_t likelyColour() const { return colour; }

private:
    static constexpr std::uint32_t unset = 0x808080;
    QRegion known;
    std::uint32_t colour = unset;
};

} // namespace quillet
