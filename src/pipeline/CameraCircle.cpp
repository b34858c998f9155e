#include "pipeline/CameraCircle.h"

#include "pipeline/kernels/blend.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace quillet {

namespace {

// Above this many pixels of the picture for one of the circle it is halved first, which costs a fraction of a filter
// that reads all of them; what the means of two by two leave out is finer than the circle shows.
constexpr double mostFilteredStep = 2;

void reverse(std::byte* pixels, int count) {
    for (std::byte *left = pixels, *right = pixels + static_cast<std::ptrdiff_t>(count - 1) * 4; left < right;
         left += 4, right -= 4)
        std::swap_ranges(left, left + 4, right);
}

} // namespace

bool CameraCircle::update(const PixelBuffer& camera, double diameter) {
    const CircleShelf::Key wanted{&camera, camera.sequence, camera.width(), camera.height(), diameter, mirrored};
    if (camera.sequence != 0 && key == wanted) return circle != nullptr;
    ++generationNumber;
    key = wanted;
    circle.reset();
    const CircleMask* mask = diameter == 0 ? nullptr : masks.mask(diameter);
    if (!mask) return false;
    const bool isShared = shelf && camera.sequence != 0;
    if (isShared) circle = shelf->find(wanted);
    if (!circle) {
        circle = draw(camera, diameter, *mask);
        if (isShared && circle) shelf->put(wanted, circle);
    }
    if (!circle) return false;

    const int side = circle->width();
    if (spansDiameter != diameter) {
        spansDiameter = diameter;
        spans.clear();
        for (int y = 0; y < side; ++y) {
            const CircleMask::Span covered =
                mask->spans[static_cast<std::size_t>(mask->side) - static_cast<std::size_t>(side - y)];
            spans.push_back({std::min(covered.begin, side), std::min(covered.end, side)});
        }
    }
    return true;
}

/// Null if memory is short.
ConstPixelBufferRef CameraCircle::draw(const PixelBuffer& camera, double diameter, const CircleMask& mask) {
    // The picture ends where the diameter does; of an odd one the mask reaches one pixel further up and right.
    const int side = std::min(mask.side, static_cast<int>(std::max(1L, std::lround(diameter))));
    const Size size{static_cast<double>(side), static_cast<double>(side)};
    if (!pool || pool->size() != size) pool = PixelBufferPool::make(size);
    const PixelBufferRef into = pool ? pool->acquire() : nullptr;
    if (!into) return nullptr;

    prepareScaler({camera.width(), camera.height(), diameter});
    if (halvings > 0) halve(camera);
    const int sourceWidth = halvings > 0 ? halvedWidth : camera.width();
    const auto read = [&](int row, int begin, int end, std::byte* room) -> ImageScaler::SourceRow {
        std::byte* const to = room + static_cast<std::ptrdiff_t>(begin) * 4;
        const int first = mirrored ? sourceWidth - end : begin;
        const auto count = static_cast<std::size_t>(end - begin);
        const std::byte* from =
            halvings == 0 ? camera.row(row)
                          : halved.data() + static_cast<std::size_t>(row) * static_cast<std::size_t>(halvedWidth) * 4;
        from += static_cast<std::size_t>(first) * 4;
        if (halvings == 0 && camera.alpha == Alpha::ignored) {
            kernels::copyOpaque(to, from, count);
            if (mirrored) reverse(to, end - begin);
        } else if (mirrored) {
            kernels::copyReversed(to, from, count);
        } else {
            std::memcpy(to, from, count * 4);
        }
        return {room};
    };
    scaler->draw({0, 0, side, side}, read, into->row(0), into->strideBytes());
    for (int y = 0; y < side; ++y)
        kernels::multiplyByMask(into->row(y), mask.row(mask.side - side + y), static_cast<std::size_t>(side));
    return into;
}

void CameraCircle::clear() {
    if (!key) return;
    ++generationNumber;
    key.reset();
    circle.reset();
}

void CameraCircle::prepareScaler(const Shape& shape) {
    if (shapeOfScaler == shape) return;
    shapeOfScaler = shape;
    halvings = 0;
    int width = shape.width;
    int height = shape.height;
    double step = std::min(width, height) / shape.diameter;
    while (step > mostFilteredStep && std::min(width, height) >= 4) {
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
        kernels::halve(into, camera.row(2 * y), camera.row(2 * y + 1), static_cast<std::size_t>(width));
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
            kernels::halve(halved.data() + y * rowBytes(width), upper, upper + fromBytes,
                           static_cast<std::size_t>(width));
        }
    }
}

} // namespace quillet
