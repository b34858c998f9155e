// drawing.h: what the tools' drawing has in common.
#pragma once

#include <QColor>
#include <QFont>
#include <QPainterPath>
#include <QRegion>
#include <QSize>
#include <QString>

namespace quillet {

/// The tools' two signal colours, with `alpha` from 0 to 1.
[[nodiscard]] QColor systemBlue(double alpha);
[[nodiscard]] QColor systemRed(double alpha);

/// The pixels of an area of this size of which `path` covers at least half.
[[nodiscard]] QRegion solidPixels(const QPainterPath& path, QSize size);

/// The toolkit's own family at `pixels`, with digits of one width where the font has them.
[[nodiscard]] QFont systemFont(double pixels, QFont::Weight weight);

/// Whether this font, or one that stands in for it, has a picture for every character of `text`.
[[nodiscard]] bool canShow(const QFont& font, const QString& text);

} // namespace quillet
