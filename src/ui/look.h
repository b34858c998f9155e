// look.h: the panel's fonts and colours, from what the system says.
#pragma once

#include <QColor>
#include <QFont>
#include <QPainter>
#include <QPalette>
#include <QRectF>

namespace quillet::look {

/// The system's own font in logical pixels, which takes its Chinese signs from a simplified Chinese font whatever the
/// system's language is.
[[nodiscard]] QFont font(int pixels, QFont::Weight weight = QFont::Normal);

inline constexpr int titlePixels = 20;
inline constexpr int recordPixels = 16;
inline constexpr int bodyPixels = 13;
inline constexpr int captionPixels = 12;
inline constexpr int hintPixels = 11;

/// The height of one line of this size, whichever font it comes from: system fonts differ by a third.
[[nodiscard]] int lineHeight(int pixels);

/// What stands out least while it cannot be used.
inline constexpr double disabledOpacity = 0.4;

inline const QColor recordingRed = QColor::fromRgb(255, 59, 48);

/// How well two colours are told apart: 1 (equal) to 21 (black and white), as the web's guidelines count it.
[[nodiscard]] double contrast(const QColor& one, const QColor& other);

/// The system's accent colour, whether or not the window is the active one. A bright one is darkened until white words
/// can be read on it, one that would drown in a dark window is lightened.
[[nodiscard]] QColor accent(const QPalette& palette);
[[nodiscard]] QColor primaryText(const QPalette& palette);
[[nodiscard]] QColor secondaryText(const QPalette& palette);
/// Behind a button that is not chosen: grey at an opacity of 0.18, more under the pointer and when pressed.
enum class Touch { none, hovered, pressed };
[[nodiscard]] QColor fill(Touch touch = Touch::none);
/// A filled button's own colour under the pointer and when pressed.
[[nodiscard]] QColor touched(const QColor& colour, Touch touch);
[[nodiscard]] QColor line(const QPalette& palette);
/// What a slider's knob runs along, where it has not been.
[[nodiscard]] QColor groove(const QPalette& palette);

/// `rect` with its edges on whole device pixels, so that they stay sharp at every scale factor.
[[nodiscard]] QRectF snapped(const QPainter& painter, const QRectF& rect);
/// How far below the middle of its line the baseline of a text stands, so that Chinese signs and capitals appear
/// centred whatever room the font keeps above and below them.
[[nodiscard]] double baselineBelowMiddle(int pixels);
/// One line in the painter's pen, centred upright; `alignment` says where from left to right.
void drawLine(QPainter& painter, const QRectF& rect, Qt::Alignment alignment, const QString& text);
/// A rectangle with round corners, its edges on whole device pixels.
void fillRounded(QPainter& painter, const QRectF& rect, double radius, const QBrush& brush);

} // namespace quillet::look
