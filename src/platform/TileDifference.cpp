#include "platform/TileDifference.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace quillet {

namespace {

// Tiles stand on the frame's own grid. Their height is an encoder's macroblock; their width is a compromise between
// precision and the number of comparisons.
constexpr int tileWidth = 128;
constexpr int tileHeight = 16;

// Whether the pixels differ in nothing but their fourth byte, which means nothing: servers fill it as they like, and
// not in the same way whatever they draw.
bool haveSameColours(const std::byte* first, const std::byte* second, std::size_t bytes) {
    for (std::size_t offset = 0; offset < bytes; offset += 4) {
        std::uint32_t a = 0;
        std::uint32_t b = 0;
        std::memcpy(&a, first + offset, 4);
        std::memcpy(&b, second + offset, 4);
        if (((a ^ b) & 0xffffffU) != 0) return false;
    }
    return true;
}

/// `rows` if all are equal.
int firstDifference(const std::byte* first, std::size_t firstStride, const std::byte* second, std::size_t secondStride,
                    std::size_t bytes, int rows) {
    int row = 0;
    while (row < rows && (std::memcmp(first, second, bytes) == 0 || haveSameColours(first, second, bytes))) {
        first += firstStride;
        second += secondStride;
        ++row;
    }
    return row;
}

/// The same; copies from that row on.
int copyFromFirstDifference(const std::byte* source, std::size_t sourceStride, std::byte* target,
                            std::size_t targetStride, std::size_t bytes, int rows) {
    const int first = firstDifference(source, sourceStride, target, targetStride, bytes, rows);
    for (int y = first; y < rows; ++y)
        std::memcpy(target + static_cast<std::size_t>(y) * targetStride,
                    source + static_cast<std::size_t>(y) * sourceStride, bytes);
    return first;
}

// Joins runs that stand exactly below each other, so that a changed block becomes one rectangle.
void addRun(std::vector<PixelRect>& runs, const PixelRect& run) {
    for (PixelRect& above : runs)
        if (above.x == run.x && above.width == run.width && above.bottom() == run.y) {
            above.height += run.height;
            return;
        }
    runs.push_back(run);
}

/// `firstOfTile(tile)` is the first row of a tile of `rect` that differs, counted from the tile's top.
template <typename FirstOfTile>
void addDifferences(const PixelRect& rect, FirstOfTile firstOfTile, PixelRegion& changed) {
    std::vector<PixelRect> runs;
    for (int top = rect.y; top < rect.bottom();) {
        const int bottom = std::min(rect.bottom(), (top / tileHeight + 1) * tileHeight);
        const int rows = bottom - top;
        PixelRect run;
        for (int left = rect.x; left < rect.right();) {
            const int right = std::min(rect.right(), (left / tileWidth + 1) * tileWidth);
            const int first = firstOfTile(PixelRect{left, top, right - left, rows});
            if (first < rows) {
                run = run.united({left, top + first, right - left, rows - first});
            } else if (!run.isEmpty()) {
                addRun(runs, run);
                run = {};
            }
            left = right;
        }
        if (!run.isEmpty()) addRun(runs, run);
        top = bottom;
    }
    for (const PixelRect& run : runs)
        changed.add(run);
}

} // namespace

void takeOver(const PixelRect& rect, const std::byte* source, std::size_t sourceStrideBytes, PixelBuffer& frame,
              PixelRegion& changed) {
    addDifferences(
        rect,
        [&](const PixelRect& tile) {
            const std::byte* const from = source + static_cast<std::size_t>(tile.y - rect.y) * sourceStrideBytes +
                                          static_cast<std::size_t>(tile.x - rect.x) * 4;
            return copyFromFirstDifference(from, sourceStrideBytes,
                                           frame.row(tile.y) + static_cast<std::size_t>(tile.x) * 4,
                                           frame.strideBytes(), static_cast<std::size_t>(tile.width) * 4, tile.height);
        },
        changed);
}

void compareFrames(const PixelBuffer& before, const PixelBuffer& now, PixelRegion& changed) {
    addDifferences(
        now.bounds(),
        [&](const PixelRect& tile) {
            const std::size_t offset = static_cast<std::size_t>(tile.x) * 4;
            return firstDifference(now.row(tile.y) + offset, now.strideBytes(), before.row(tile.y) + offset,
                                   before.strideBytes(), static_cast<std::size_t>(tile.width) * 4, tile.height);
        },
        changed);
}

} // namespace quillet
