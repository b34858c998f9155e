#include "tools/BubblePicture.h"

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace quillet {

namespace {

constexpr double ringAlpha = 0.9;

/// `level` of 255 parts of `value`, rounded.
unsigned part(unsigned value, unsigned level) { return (value * level + 127) / 255; }

} // namespace

void BubblePicture::prepareRing(const Look& look) {
    const int side = look.side;
    ring = QImage(side, side, QImage::Format_Alpha8);
    ring.fill(0);
    {
        QPainter painter(&ring);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(Qt::black, look.ringWidth));
        const double inset = look.ringWidth / 2;
        painter.drawEllipse(QRectF(0, 0, side, side).adjusted(inset, inset, -inset, -inset));
    }
    runs.clear();
    for (int y = 0; y < side; ++y) {
        const uchar* const row = ring.constScanLine(y);
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

    const auto full = static_cast<unsigned>(std::lround(ringAlpha * 255));
    for (const RingRun& run : runs) {
        const uchar* const coverage = ring.constScanLine(run.y);
        auto* const row = reinterpret_cast<QRgb*>(canvas.scanLine(run.y));
        for (int x = run.begin; x < run.end; ++x) {
            const unsigned level = part(full, coverage[x]);
            const unsigned rest = 255 - level;
            const QRgb below = row[x];
            const auto channel = [&](unsigned shift) { return (level + part(below >> shift & 255U, rest)) << shift; };
            QRgb pixel = channel(0) | channel(8) | channel(16) | channel(24);
            if (look.edge == Edge::hard) {
                const unsigned missing = 255 - (pixel >> 24);
                pixel += missing * 0x01010101U; // premultiplied: no channel exceeds the alpha
            }
            row[x] = pixel;
        }
    }
}

} // namespace quillet
