#include "pipeline/CameraCircle.h"

#include "pipeline/kernels/blend.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace quillet {

namespace {

// Below this scale the picture is halved first: a filter that reads hundreds of pixels for each of a tiny circle's
// would cost more than the circle is worth.
constexpr double smallestFilteredScale = 0.25;

/// Means of two by two pixels. `from` and `into` may be the same memory: what is written lies before what is still
/// read.
void halveRow(const std::byte* upper, const std::byte* lower, std::byte* into, int width) {
    for (std::size_t x = 0; x < static_cast<std::size_t>(width); ++x)
        for (std::size_t channel = 0; channel < 4; ++channel) {
            const std::size_t at = x * 8 + channel;
            const auto sum = std::to_integer<unsigned>(upper[at]) + std::to_integer<unsigned>(upper[at + 4]) +
                             std::to_integer<unsigned>(lower[at]) + std::to_integer<unsigned>(lower[at + 4]);
            into[x * 4 + channel] = static_cast<std::byte>((sum + 2) / 4);
        }
}

void reverse(std::byte* pixels, int count) {
    for (std::byte *left = pixels, *right = pixels + static_cast<std::ptrdiff_t>(count - 1) * 4; left < right;
         left += 4, right -= 4)
        std::swap_ranges(left, left + 4, right);
}

} // namespace

bool CameraCircle::update(const PixelBuffer& camera, double diameter) {
    const Key wanted{&camera, camera.sequence, camera.width(), camera.height(), diameter};
    if (camera.sequence != 0 && key == wanted) return sideLength != 0;
    ++generationNumber;
    key = wanted;
    sideLength = 0;
    const CircleMask* mask = diameter == 0 ? nullptr : masks.mask(diameter);
    if (!mask) return false;
    // The picture ends where the diameter does; of an odd one the mask reaches one pixel further up and right.
    const int side = std::min(mask->side, static_cast<int>(std::max(1L, std::lround(diameter))));

    prepareScaler({camera.width(), camera.height(), diameter});
    if (halvings > 0) halve(camera);
    const int sourceWidth = halvings > 0 ? halvedWidth : camera.width();
    const auto read = [&](int row, int begin, int end, std::byte* into) {
        const int from = mirrored ? sourceWidth - end : begin;
        const auto count = static_cast<std::size_t>(end - begin);
        const auto offset = static_cast<std::size_t>(from) * 4;
        if (halvings > 0) {
            const auto start = static_cast<std::size_t>(row) * static_cast<std::size_t>(halvedWidth) * 4;
            std::memcpy(into, halved.data() + start + offset, count * 4);
        } else if (camera.alpha == Alpha::ignored) {
            kernels::copyOpaque(into, camera.row(row) + offset, count);
        } else {
            std::memcpy(into, camera.row(row) + offset, count * 4);
        }
        if (mirrored) reverse(into, end - begin);
    };
    const std::size_t strideBytes = static_cast<std::size_t>(side) * 4;
    pixels.resize(strideBytes * static_cast<std::size_t>(side));
    spans.resize(static_cast<std::size_t>(side));
    scaler->draw({0, 0, side, side}, read, pixels.data(), strideBytes);

    for (int y = 0; y < side; ++y) {
        const int maskRow = mask->side - side + y;
        const CircleMask::Span covered = mask->spans[static_cast<std::size_t>(maskRow)];
        spans[static_cast<std::size_t>(y)] = {std::min(covered.begin, side), std::min(covered.end, side)};
        kernels::multiplyByMask(pixels.data() + static_cast<std::size_t>(y) * strideBytes, mask->row(maskRow),
                                static_cast<std::size_t>(side));
    }
    sideLength = side;
    return true;
}

void CameraCircle::clear() {
    if (!key) return;
    ++generationNumber;
    key.reset();
    sideLength = 0;
}

void CameraCircle::prepareScaler(const Shape& shape) {
    if (shapeOfScaler == shape) return;
    shapeOfScaler = shape;
    halvings = 0;
    int width = shape.width;
    int height = shape.height;
    double step = std::min(width, height) / shape.diameter;
    while (step > 1 / smallestFilteredScale && std::min(width, height) >= 4) {
        ++halvings;
        width /= 2;
        height /= 2;
        step /= 2;
    }
    // Places are those of the whole picture, in pixels of the halved one; an odd last row or column falls away.
    const double toHalved = std::ldexp(1.0, -halvings);
    const int side = std::min(static_cast<int>(CircleMaskCache::sideFor(shape.diameter)),
                              static_cast<int>(std::max(1L, std::lround(shape.diameter))));
    const double startX = (shape.width * toHalved - shape.diameter * step) / 2;
    // Circle and picture meet at the bottom: with a diameter that is not whole, the top gives or takes the rest.
    const double bottom = (shape.height * toHalved + shape.diameter * step) / 2;
    const double startAcross = mirrored ? width - shape.width * toHalved + startX : startX;
    halvedWidth = width;
    const AxisPlan across(width, side, startAcross, step);
    const AxisPlan down(height, side, bottom - side * step, step);
    scaler.emplace(across, down);
}

void CameraCircle::halve(const PixelBuffer& camera) {
    int width = camera.width() / 2;
    int height = camera.height() / 2;
    const auto rowBytes = [](int pixelsInRow) { return static_cast<std::size_t>(pixelsInRow) * 4; };
    halved.resize(rowBytes(width) * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y) {
        std::byte* into = halved.data() + rowBytes(width) * static_cast<std::size_t>(y);
        halveRow(camera.row(2 * y), camera.row(2 * y + 1), into, width);
        if (camera.alpha == Alpha::ignored)
            for (std::size_t i = 3; i < rowBytes(width); i += 4)
                into[i] = std::byte{255};
    }
    for (int done = 1; done < halvings; ++done) {
        const std::size_t fromBytes = rowBytes(width);
        width /= 2;
        height /= 2;
        for (std::size_t y = 0; y < static_cast<std::size_t>(height); ++y) {
            const std::byte* upper = halved.data() + 2 * y * fromBytes;
            halveRow(upper, upper + fromBytes, halved.data() + y * rowBytes(width), width);
        }
    }
}

} // namespace quillet
