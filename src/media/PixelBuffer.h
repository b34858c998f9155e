// PixelBuffer.h: one frame of pixels in memory.
#pragma once

#include "geometry/Size.h"
#include "media/PixelRect.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace quillet {

/// What the fourth byte of a pixel means.
enum class Alpha {
    premultiplied, ///< coverage, colours already multiplied by it
    ignored,       ///< anything; the picture is opaque. Readers take it as 255.
};

/// 32-bit BGRA, 8 bits each, top row first, every row at a multiple of 64 bytes, with 64 readable bytes past the last
/// row.
///
/// Threads: a value holder without locks. Whoever lends a frame does not write to it again until it has come back.
class PixelBuffer {
public:
    static constexpr std::size_t rowAlignmentBytes = 64;

    /// Memory of its own, content unspecified; null if memory is short. Sizes below 1 stop the program.
    [[nodiscard]] static std::shared_ptr<PixelBuffer> make(int width, int height);

    /// A frame over memory that somebody else owns (a shared segment): `release` runs once, on whatever thread lets the
    /// last reference go. `base` and `strideBytes` must be multiples of 64, and 64 bytes past the last row readable.
    [[nodiscard]] static std::shared_ptr<PixelBuffer> wrap(std::byte* base, std::size_t strideBytes, int width,
                                                           int height, std::function<void()> release);

    ~PixelBuffer();
    PixelBuffer(const PixelBuffer&) = delete;
    PixelBuffer& operator=(const PixelBuffer&) = delete;

    [[nodiscard]] int width() const { return columns; }
    [[nodiscard]] int height() const { return rows; }
    [[nodiscard]] PixelRect bounds() const { return {0, 0, columns, rows}; }
    [[nodiscard]] std::size_t strideBytes() const { return rowBytes; }
    [[nodiscard]] std::byte* row(int y) { return base + static_cast<std::size_t>(y) * rowBytes; }
    [[nodiscard]] const std::byte* row(int y) const { return base + static_cast<std::size_t>(y) * rowBytes; }

    /// What the fourth byte means; set by whoever draws.
    Alpha alpha = Alpha::premultiplied;

    /// Which of its source's frames this is: 1, 2, 3, … without gaps, dropped ones counted. 0: the source does not
    /// count, and the frame says nothing about others.
    std::uint64_t sequence = 0;

    /// Where this frame differs from the one numbered sequence - 1 of the same source, in memory rows. Absent:
    /// anywhere. Present and empty: nowhere.
    std::optional<PixelRegion> damage;

    /// A place for the one that draws into pooled frames to remember what a frame holds between two loans. Nobody else
    /// touches it.
    std::shared_ptr<void> drawnContent;

private:
    PixelBuffer(std::byte* base, std::size_t strideBytes, int width, int height, std::function<void()> release);

    std::byte* base;
    std::size_t rowBytes;
    int columns;
    int rows;
    std::function<void()> release;
};

/// Shared because a frame has several holders at once, on several threads (source, compositor, writer's queue), and
/// goes back to its pool when the last one lets go.
using PixelBufferRef = std::shared_ptr<PixelBuffer>;
using ConstPixelBufferRef = std::shared_ptr<const PixelBuffer>;

} // namespace quillet
