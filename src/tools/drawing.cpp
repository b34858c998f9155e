#include "tools/drawing.h"

#include <QFontDatabase>
#include <QGlyphRun>
#include <QImage>
#include <QPainter>
#include <QTextLayout>

#include <algorithm>
#include <vector>

namespace quillet {

QColor systemBlue(double alpha) { return QColor::fromRgbF(0, 122.0F / 255, 1, static_cast<float>(alpha)); }

QColor systemRed(double alpha) { return QColor::fromRgbF(1, 59.0F / 255, 48.0F / 255, static_cast<float>(alpha)); }

QRegion solidPixels(const QPainterPath& path, QSize size) {
    const QRect bounds = path.boundingRect().toAlignedRect().intersected(QRect(QPoint(), size));
    if (bounds.isEmpty()) return {};
    QImage coverage(bounds.size(), QImage::Format_Alpha8);
    coverage.fill(0);
    {
        QPainter painter(&coverage);
        painter.translate(-bounds.topLeft());
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillPath(path, Qt::black);
    }
    std::vector<QRect> runs;
    for (int y = 0; y < coverage.height(); ++y) {
        const uchar* const row = coverage.constScanLine(y);
        for (int x = 0; x < coverage.width();) {
            if (row[x] < 128) {
                ++x;
                continue;
            }
            const int begin = x;
            while (x < coverage.width() && row[x] >= 128)
                ++x;
            runs.emplace_back(bounds.x() + begin, bounds.y() + y, x - begin, 1);
        }
    }
    QRegion region;
    region.setRects(runs.data(), static_cast<int>(runs.size()));
    return region;
}

QFont systemFont(double pixels, QFont::Weight weight) {
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setPixelSize(std::max(1, qRound(pixels)));
    font.setWeight(weight);
#if QT_VERSION >= QT_VERSION_CHECK(6, 7, 0)
    font.setFeature("tnum", 1);
#endif
    return font;
}

bool canShow(const QFont& font, const QString& text) {
    QTextLayout layout(text, font);
    layout.beginLayout();
    layout.createLine();
    layout.endLayout();
    const QList<QGlyphRun> runs = layout.glyphRuns();
    return !runs.empty() && std::ranges::all_of(runs, [](const QGlyphRun& run) {
        const QList<quint32> glyphs = run.glyphIndexes();
        return std::ranges::none_of(glyphs, [](quint32 glyph) { return glyph == 0; });
    });
}

} // namespace quillet
