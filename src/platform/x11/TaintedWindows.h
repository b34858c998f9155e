// TaintedWindows.h: windows of others whose pixels may still be a copy of ours.
#pragma once

#include "platform/x11/WindowStack.h"

#include <QRegion>

#include <cstdint>
#include <unordered_map>

namespace quillet {

/// A new window without a background of its own begins with a copy of what the screen showed at its place, our windows
/// included, and so does one that has become larger. Until its program has painted there, those pixels are neither to
/// be drawn nor to be fetched; what a program never paints is never shown.
///
/// Threads: a value.
class TaintedWindows {
public:
    /// A window's pixels have begun anew; `part` of it, counted from its corner, may show us.
    void begin(std::uint32_t window, const QRegion& part);
    /// Its program has painted `part`.
    void paint(std::uint32_t window, const QRegion& part);
    void forget(std::uint32_t window) { parts.erase(window); }

    /// What of the window is not to be trusted, counted from its corner; null: all of it is.
    [[nodiscard]] const QRegion* partOf(std::uint32_t window) const;
    /// The places on the root where tainted pixels may be seen.
    [[nodiscard]] QRegion places(const WindowStack& stack) const;

private:
    std::unordered_map<std::uint32_t, QRegion> parts;
};

} // namespace quillet
