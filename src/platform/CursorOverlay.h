// CursorOverlay.h: the pointer's picture in a frame, and the clean pixels beneath it.
#pragma once

#include "media/PixelBuffer.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace quillet {

/// A pointer's picture. `pixels` are rows of premultiplied 0xAARRGGBB, width * height of them.
struct CursorImage {
    int width = 0;
    int height = 0;
    int hotX = 0; ///< the pixel that points
    int hotY = 0;
    std::vector<std::uint32_t> pixels;

    /// Whether there is anything to see; programs hide the pointer with an empty picture.
    [[nodiscard]] bool isVisible() const;

    friend bool operator==(const CursorImage&, const CursorImage&) = default;
};

/// Draws the pointer into an opaque frame and takes it off again exactly.
///
/// erase() and draw() take turns; in between the frame holds no pointer and may be changed anywhere. They may be given
/// different buffers as long as both hold the same picture.
/// Threads: one.
class CursorOverlay {
public:
    /// What draw() draws from now on; nothing while the image is not visible.
    void setImage(CursorImage image);
    [[nodiscard]] const CursorImage& currentImage() const { return image; }

    /// Where the pointer would be drawn for the hot spot at (x, y), cut to `bounds`; empty when there is nothing to
    /// see.
    [[nodiscard]] PixelRect placeAt(int x, int y, const PixelRect& bounds) const;
    /// Where it is drawn now; empty when it is not.
    [[nodiscard]] const PixelRect& place() const { return drawnAt; }

    /// Puts the clean pixels back; nothing to do when it is not drawn.
    void erase(PixelBuffer& frame);
    /// Keeps the pixels beneath and draws the image over them, its hot spot at (x, y), cut to `bounds`, which lie
    /// inside the frame.
    void draw(PixelBuffer& frame, int x, int y, const PixelRect& bounds);

private:
    CursorImage image;
    bool visible = false;
    PixelRect drawnAt;
    std::vector<std::byte> beneath; // the rows of drawnAt, packed
};

} // namespace quillet
