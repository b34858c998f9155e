#include "tools/BubblePicture.h"

#include "pipeline/kernels/blend.h"

#include <QPainter>

#include <cstddef>
#include <cstring>

namespace quillet {

namespace {

constexpr int ringAlpha = 230; // 0.9 of 255
constexpr QRgb opaqueWhite = 0xffffffffU;

std::byte* pixelsAt(uchar* row, int x) {
    return reinterpret_cast<std::byte*>(row) + static_cast<std::ptrdiff_t>(x) * 4;
}
const std::byte* pixelsAt(const uchar* row, int x) {
    return reinterpret_cast<const std::byte*>(row) + static_cast<std::ptrdiff_t>(x) * 4;
}

} // namespace

void BubblePicture::prepareRing(const Look& look) {
    const int side = look.side;
    ring = QImage(side, side, QImage::Format_ARGB32_Premultiplied);
    ring.fill(0);
    white.assign(static_cast<std::size_t>(side), opaqueWhite);
    {
        QPainter painter(&ring);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(QColor(255, 255, 255, ringAlpha), look.ringWidth));
        const double inset = look.ringWidth / 2;
        painter.drawEllipse(QRectF(0, 0, side, side).adjusted(inset, inset, -inset, -inset));
    }
    runs.clear();
    for (int y = 0; y < side; ++y) {
        const auto* const row = reinterpret_cast<const QRgb*>(ring.constScanLine(y));
        for (int x = 0; x < side;) {
            if (row[x] == 0) {
                ++x;
                continue;
            }
            const int begin = x;
            while (x < side && row[x] != 0)
                ++x;
            runs.push_back({y, begin, x});
        }
    }
}

void BubblePicture::draw(const PixelBuffer* camera, const Look& look) {
    const int side = look.side;
    if (canvas.width() != side) canvas = QImage(side, side, QImage::Format_ARGB32_Premultiplied);
    if (!drawn || drawn->side != side || drawn->ringWidth != look.ringWidth) prepareRing(look);
    drawn = look;

    if (camera && circle.update(*camera, side) && circle.side() == side) {
        const auto rowBytes = static_cast<std::size_t>(side) * 4;
        for (int y = 0; y < side; ++y)
            std::memcpy(canvas.scanLine(y), circle.row(y), rowBytes);
    } else {
        canvas.fill(0);
    }

    for (const RingRun& run : runs) {
        std::byte* const row = pixelsAt(canvas.scanLine(run.y), run.begin);
        const auto count = static_cast<std::size_t>(run.end - run.begin);
        kernels::composite(row, pixelsAt(ring.constScanLine(run.y), run.begin), row, count);
        if (look.edge == Edge::hard)
            kernels::composite(row, row, reinterpret_cast<const std::byte*>(white.data()), count);
    }
}

} // namespace quillet
