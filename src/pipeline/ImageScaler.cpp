#include "pipeline/ImageScaler.h"

#include <array>

namespace quillet {

namespace {

// A few filtered rows of this width and their weights stay in the second-level cache; narrower strips would read the
// source in pieces too short for the memory to keep up.
constexpr int stripWidth = 2048;
constexpr std::size_t ringRowValues = (stripWidth + 1 + kernels::overreach) * 4;

} // namespace

ImageScaler::ImageScaler(AxisPlan horizontal, AxisPlan vertical)
    : across(std::move(horizontal)), down(std::move(vertical)), rowFilter(across) {
    const auto downTaps = static_cast<std::size_t>(down.taps());
    for (int output = 0; output < down.outputs(); ++output)
        for (std::size_t tap = 0; tap < downTaps; ++tap)
            downWeights.push_back(static_cast<std::int16_t>(std::min(down.weights(output)[tap] * 4, 32767)));
    const auto sourceWidth = static_cast<std::size_t>(across.sourceOf(0, across.outputs()).second);
    sourceRow.resize((sourceWidth + static_cast<std::size_t>(overread)) * 4);
    ring.resize(ringRowValues * downTaps);
}

void ImageScaler::draw(const PixelRect& part, const RowReader& read, std::byte* into, std::size_t strideBytes) {
    if (part.isEmpty()) return;
    for (int x = part.x; x < part.right(); x += stripWidth)
        drawStrip({x, part.y, std::min(stripWidth, part.right() - x), part.height}, read, into, strideBytes);
}

void ImageScaler::drawStrip(const PixelRect& part, const RowReader& read, std::byte* into, std::size_t strideBytes) {
    const int evenLeft = part.x / 2 * 2;
    const auto [sourceBegin, sourceEnd] = across.sourceOf(part.x, part.right());
    const auto taps = static_cast<std::size_t>(down.taps());
    const auto ringRow = [&](int row) { return ring.data() + static_cast<std::size_t>(row) % taps * ringRowValues; };

    int filtered = down.first(part.y);
    std::array<const std::int16_t*, kernels::maximumTaps> rows{};
    for (int y = part.y; y < part.bottom(); ++y) {
        const int first = down.first(y);
        filtered = std::max(filtered, first);
        for (; filtered < first + down.taps(); ++filtered) {
            const SourceRow source = read(filtered, sourceBegin, sourceEnd, sourceRow.data());
            rowFilter.run(source.pixels, source.fourth, evenLeft, part.right(), ringRow(filtered));
        }
        for (int tap = 0; tap < down.taps(); ++tap)
            rows[static_cast<std::size_t>(tap)] = ringRow(first + tap) + (part.x - evenLeft) * 4;
        kernels::filterColumns(rows.data(), downWeights.data() + static_cast<std::size_t>(y) * taps, taps,
                               static_cast<std::size_t>(part.width),
                               into + static_cast<std::size_t>(y) * strideBytes + static_cast<std::size_t>(part.x) * 4);
    }
}

} // namespace quillet
