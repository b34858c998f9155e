// palettes.h: light and dark colours for systems whose toolkit brings none.
#pragma once

#include <QColor>
#include <QPalette>

namespace quillet {

enum class ColourScheme { light, dark };

/// Every role of the application's palette, in the scheme, with `accent` for what is chosen. Where the desktop's own
/// palette is already of that scheme, that one is the better choice.
[[nodiscard]] QPalette paletteOf(ColourScheme scheme, const QColor& accent = QColor::fromRgb(0, 122, 255));

/// Whether a palette's text is lighter than what it stands on.
[[nodiscard]] ColourScheme schemeOf(const QPalette& palette);

} // namespace quillet
