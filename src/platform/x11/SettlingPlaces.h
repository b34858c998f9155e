// SettlingPlaces.h: where the screen may still show what the windows no longer are.
#pragma once

#include <QRegion>

#include <chrono>
#include <optional>
#include <vector>

namespace quillet {

/// A compositing manager draws later than windows change, on a busy machine much later. A place in which something has
/// changed counts as settled when all that is owed has been drawn since, and then nothing for a moment; else after a
/// longest time, for what other windows hide is never drawn.
///
/// Threads: a value.
class SettlingPlaces {
public:
    using Clock = std::chrono::steady_clock;

    // A manager's slowest ordinary frames. While it draws at shorter distances it has more to come.
    static constexpr std::chrono::milliseconds quiet{200};

    struct Change {
        QRegion place;
        QRegion owed;                         ///< the part of it that will be drawn if anything will
        std::chrono::milliseconds atLeast{0}; ///< not settled before, drawn or not
        std::chrono::milliseconds atMost{0};  ///< settled then, drawn or not
    };
    /// Changes of about the same moment become one.
    void note(const Change& change, Clock::time_point now);
    /// The screen has been drawn there, whoever has drawn it. To be told from changes that the drawing can know.
    void draw(const QRegion& part, Clock::time_point now);
    /// Forgets the places that are settled.
    void settle(Clock::time_point now);
    /// When the next one may be; nothing when none is left.
    [[nodiscard]] std::optional<Clock::time_point> nextSettling() const;

    /// All places that are not.
    [[nodiscard]] const QRegion& places() const { return all; }

private:
    struct Place {
        QRegion place;
        QRegion undrawn;
        Clock::time_point changed;
        Clock::time_point drawn; // last; `changed` when never
        std::chrono::milliseconds atLeast;
        std::chrono::milliseconds atMost;
        [[nodiscard]] Clock::time_point due() const;
    };
    std::vector<Place> open;
    QRegion all;
};

} // namespace quillet
