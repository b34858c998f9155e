// ImageScaler.h: parts of a scaled picture, from rows that are made as they are needed.
#pragma once

#include "media/PixelRect.h"
#include "pipeline/AxisPlan.h"

#include <functional>

namespace quillet {

/// Scales a picture of premultiplied BGRA in both directions, any part of it at a time; parts fit together bit for bit.
///
/// Works in column strips narrow enough for the caches: each source row is filtered once per strip into a ring
/// of rows, from which the output rows are summed. Allocates only when made. Threads: one at a time.
class ImageScaler {
public:
    /// How many pixels behind the last one asked for are read, whatever they are.
    static constexpr int overread = kernels::maximumTaps + static_cast<int>(kernels::overreach);

    struct SourceRow {
        const std::byte* pixels; ///< where the row's pixel 0 is, or would be
        kernels::Fourth fourth = kernels::Fourth::asItIs;
    };
    /// The pixels `begin` to `end` of a row of the source: either where they lie, with `overread` more that can be read
    /// behind them, or written to their places in `room`, which has pixel 0 at its beginning. In use until the next
    /// call.
    using RowReader = std::function<SourceRow(int row, int begin, int end, std::byte* room)>;

    ImageScaler(AxisPlan across, AxisPlan down);

    [[nodiscard]] const AxisPlan& horizontal() const { return across; }
    [[nodiscard]] const AxisPlan& vertical() const { return down; }

    /// Draws the outputs within `part`. `into` is where output (0, 0) would be.
    void draw(const PixelRect& part, const RowReader& read, std::byte* into, std::size_t strideBytes);

private:
    void drawStrip(const PixelRect& part, const RowReader& read, std::byte* into, std::size_t strideBytes);

    AxisPlan across;
    AxisPlan down;
    RowFilter rowFilter;
    std::vector<std::int16_t> downWeights; // 15 binary places
    std::vector<std::byte> sourceRow;
    std::vector<std::int16_t> ring;
};

} // namespace quillet
