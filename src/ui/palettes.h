// palettes.h: light and dark colours for systems whose toolkit brings none.
#pragma once

#include <QColor>
#include <QPalette>

namespace quillet {

enum class ColourScheme { light, dark };

/// The accent of systems that have none: a blue.
inline const QColor defaultAccent = QColor::fromRgb(0, 122, 255);

/// Every role of the application's palette, in the scheme, with `accent` for what is chosen. Where the desktop's own
/// palette is already of that scheme, that one is the better choice.
[[nodiscard]] QPalette paletteOf(ColourScheme scheme, const QColor& accent = defaultAccent);

/// A palette that says nothing but the accent: everything else stays the toolkit's.
[[nodiscard]] QPalette accentOnly(const QColor& accent);

/// Whether a palette's text is lighter than what it stands on.
[[nodiscard]] ColourScheme schemeOf(const QPalette& palette);

} // namespace quillet
