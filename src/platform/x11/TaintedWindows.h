// TaintedWindows.h: windows of others whose pixels may still be a copy of ours.
#pragma once

#include "platform/x11/WindowStack.h"

#include <QRegion>

#include <chrono>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

namespace quillet {

/// A new window without a background of its own begins with a copy of what the screen showed at its place, our windows
/// included, and so does one that has become larger. Until its program has painted there, those pixels are neither to
/// be drawn nor to be fetched.
///
/// Threads: a value.
class TaintedWindows {
public:
    using Clock = std::chrono::steady_clock;

    // Programs that a window was mapped for paint it at once; whoever has not by now never will.
    static constexpr std::chrono::milliseconds trustAfter{250};

    enum class Watched {
        beforeIt, ///< all that has been painted since is known
        tooLate,  ///< some of it may be missing: believed after trustAfter
    };
    /// A window's pixels have begun anew at `now`; `part` of it, counted from its corner, may show us.
    void begin(std::uint32_t window, const QRegion& part, Watched watched, Clock::time_point now);
    /// Its program has painted `part`.
    void paint(std::uint32_t window, const QRegion& part);
    void forget(std::uint32_t window) { parts.erase(window); }

    /// Believes the windows whose time has come; true if there were any.
    bool expire(Clock::time_point now);
    [[nodiscard]] std::optional<Clock::time_point> nextExpiry() const;

    /// What of the window is not to be trusted, counted from its corner; null: all of it is.
    [[nodiscard]] const QRegion* partOf(std::uint32_t window) const;
    /// The places on the root where tainted pixels may be seen.
    [[nodiscard]] QRegion places(const WindowStack& stack) const;

private:
    struct Taint {
        QRegion part;
        std::optional<Clock::time_point> until;
    };
    std::unordered_map<std::uint32_t, Taint> parts;
};

} // namespace quillet
