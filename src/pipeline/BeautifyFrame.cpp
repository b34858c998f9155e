#include "pipeline/BeautifyFrame.h"

#include "beautify/BackgroundLibrary.h"
#include "geometry/fatal.h"
#include "pipeline/kernels/blend.h"
#include "pipeline/roundedRectCoverage.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace quillet {

namespace {

constexpr double shadowOpacity = 0.5;

std::size_t bytes(int pixels) { return static_cast<std::size_t>(pixels) * 4; }

PixelBufferRef drawBackdrop(std::int64_t index, int width, int height) {
    const QImage image = BackgroundLibrary::image(index, {static_cast<double>(width), static_cast<double>(height)});
    PixelBufferRef backdrop = PixelBuffer::make(width, height);
    if (!backdrop) fatal("no memory for the backdrop");
    for (int y = 0; y < height; ++y)
        std::memcpy(backdrop->row(y), image.constScanLine(y), bytes(width));
    return backdrop;
}

ShapeMask drawMask(const InsetGeometry& inset, int width, int height) {
    ShapeMask mask{width, height,
                   std::vector<std::uint8_t>(static_cast<std::size_t>(width) * static_cast<std::size_t>(height))};
    const Rect& shape = inset.picture;
    const double corner = std::clamp(inset.cornerRadius, 0.0, std::min(shape.width, shape.height) / 2);
    // Pixels wholly between the corners are alike along their row or column; one stands for all.
    const auto between = [corner](double pixel, double from, double to) {
        return pixel >= from + corner && pixel + 1 <= to - corner;
    };
    for (int y = 0; y < height; ++y) {
        std::uint8_t* row = mask.coverage.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
        const bool plainRow = between(y, shape.minY(), shape.maxY());
        if (plainRow && y > 0 && between(y - 1, shape.minY(), shape.maxY())) {
            std::memcpy(row, row - width, static_cast<std::size_t>(width));
            continue;
        }
        for (int x = 0; x < width; ++x) {
            const bool repeats =
                x > 0 && between(x, shape.minX(), shape.maxX()) && between(x - 1, shape.minX(), shape.maxX());
            row[x] = repeats ? row[x - 1]
                             : static_cast<std::uint8_t>(std::lround(roundedRectCoverage(shape, corner, x, y) * 255));
        }
    }
    return mask;
}

} // namespace

InsetGeometry::InsetGeometry(const BeautifySettings& settings, int width, int height) {
    const double shorter = std::min(width, height);
    const double padding = 2 * shorter * settings.padding;
    scale = std::min((width - padding) / width, (height - padding) / height);
    const double pictureWidth = width * scale;
    const double pictureHeight = height * scale;
    picture = {(width - pictureWidth) / 2, (height - pictureHeight) / 2, pictureWidth, pictureHeight};
    cornerRadius = std::min(pictureWidth, pictureHeight) * settings.cornerRadius;
    shadowBlur = shorter * 0.02;
    shadowDrop = shorter * 0.012;
}

BeautifyFrame::BeautifyFrame(const BeautifySettings& settings, int width, int height)
    : backdrop(drawBackdrop(settings.backgroundIndex, width, height)), solid(static_cast<std::size_t>(height)) {
    const InsetGeometry inset(settings, width, height);
    if (!(inset.scale > 0)) return;
    mask = drawMask(inset, width, height);
    if (settings.shadowEnabled)
        castShadow(mask, {inset.shadowBlur, inset.shadowDrop, shadowOpacity}, [&](int y, const std::byte* black) {
            kernels::composite(backdrop->row(y), black, backdrop->row(y), static_cast<std::size_t>(width));
        });

    for (int y = 0; y < height; ++y) {
        const std::uint8_t* row = mask.row(y);
        const auto seen = [](std::uint8_t level) { return level != 0; };
        const auto full = [](std::uint8_t level) { return level == 255; };
        const int seenBegin = static_cast<int>(std::find_if(row, row + width, seen) - row);
        int seenEnd = width;
        while (seenEnd > seenBegin && !seen(row[seenEnd - 1]))
            --seenEnd;
        pictureBounds = pictureBounds.united({seenBegin, y, seenEnd - seenBegin, 1});
        const int begin = static_cast<int>(std::find_if(row, row + width, full) - row);
        int end = begin;
        while (end < width && full(row[end]))
            ++end;
        solid[static_cast<std::size_t>(y)] = {begin, end};
    }
    if (pictureBounds.isEmpty()) return;
    const double step = 1 / inset.scale;
    scaler.emplace(AxisPlan(width, pictureBounds.width, (pictureBounds.x - inset.picture.x) * step, step),
                   AxisPlan(height, pictureBounds.height, (pictureBounds.y - inset.picture.y) * step, step));
}

PixelRect BeautifyFrame::canvasShowing(const PixelRect& partOfPicture) const {
    if (!scaler) return {};
    const auto [left, right] = scaler->horizontal().outputsReading(partOfPicture.x, partOfPicture.right());
    const auto [top, bottom] = scaler->vertical().outputsReading(partOfPicture.y, partOfPicture.bottom());
    return PixelRect{left, top, right - left, bottom - top}.offsetBy(pictureBounds.x, pictureBounds.y);
}

void BeautifyFrame::draw(const PixelRect& part, const ScreenPicture& picture, PixelBuffer& into) {
    const PixelRect shown = scaler ? part.intersection(pictureBounds) : PixelRect{};
    if (shown.isEmpty()) return copyBackdrop(part, into);
    copyBackdrop({part.x, part.y, part.width, shown.y - part.y}, into);
    copyBackdrop({part.x, shown.bottom(), part.width, part.bottom() - shown.bottom()}, into);
    copyBackdrop({part.x, shown.y, shown.x - part.x, shown.height}, into);
    copyBackdrop({shown.right(), shown.y, part.right() - shown.right(), shown.height}, into);
    drawPicture(shown, picture, into);
}

void BeautifyFrame::drawPicture(const PixelRect& part, const ScreenPicture& picture, PixelBuffer& into) {
    scaler->draw(
        part.offsetBy(-pictureBounds.x, -pictureBounds.y),
        [&](int row, int begin, int end, std::byte* room) -> ImageScaler::SourceRow {
            if (const std::byte* pixels = picture.plainRow(row, begin, end, ImageScaler::overread))
                return {pixels,
                        picture.screen.alpha == Alpha::ignored ? kernels::Fourth::opaque : kernels::Fourth::asItIs};
            picture.writeRow(row, begin, end, room + bytes(begin));
            return {room};
        },
        into.row(pictureBounds.y) + bytes(pictureBounds.x), into.strideBytes());

    const bool opaque = picture.isOpaque();
    for (int y = part.y; y < part.bottom(); ++y) {
        const auto lay = [&](int begin, int end) {
            if (begin >= end) return;
            std::byte* pixels = into.row(y) + bytes(begin);
            const auto count = static_cast<std::size_t>(end - begin);
            kernels::multiplyByMask(pixels, mask.row(y) + begin, count);
            kernels::composite(pixels, pixels, backdrop->row(y) + bytes(begin), count);
        };
        // Where the mask is full and the picture opaque, the picture stands as it is.
        const CircleMask::Span whole = solid[static_cast<std::size_t>(y)];
        if (!opaque || whole.begin >= whole.end) {
            lay(part.x, part.right());
        } else {
            lay(part.x, std::min(whole.begin, part.right()));
            lay(std::max(whole.end, part.x), part.right());
        }
    }
}

void BeautifyFrame::copyBackdrop(const PixelRect& part, PixelBuffer& into) const {
    if (part.isEmpty()) return;
    for (int y = part.y; y < part.bottom(); ++y)
        std::memcpy(into.row(y) + bytes(part.x), backdrop->row(y) + bytes(part.x), bytes(part.width));
}

} // namespace quillet
