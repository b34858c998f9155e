// OwnRegion.h: where the screen may show a window that is to be left out.
#pragma once

#include "platform/x11/SettlingPlaces.h"
#include "platform/x11/WindowStack.h"

#include <QRegion>

#include <chrono>
#include <optional>
#include <vector>

namespace quillet {

/// Who makes the screen of the windows: the server itself, at once and exactly, or a program, later and with effects
/// of its own.
enum class Compositing { byServer, byManager };

/// The pixels of the root that the screen's own picture cannot be trusted with.
///
/// When the server composes, these are the pixels where a window of ours is seen, no more: windows above it cut it
/// off. A compositing manager draws later than windows change, with shadows, and lets windows fade; so there the region
/// reaches further (shadowMargin around windows that may have a shadow), nothing above cuts it off, and places that
/// were left stay in it until the manager has drawn there.
/// Threads: a value.
class OwnRegion {
public:
    using Clock = SettlingPlaces::Clock;

    // Wider than the shadows of picom, xfwm4, metacity, mutter and kwin as they are installed.
    static constexpr int shadowMargin = 64;
    // Whatever a manager has drawn by then: it may have drawn what was before, and windows fade.
    static constexpr std::chrono::milliseconds graceAfterMove{200};
    static constexpr std::chrono::milliseconds graceAfterUnmap{1000};
    // A manager that needs longer than this hangs; or the place is hidden, and nothing will be drawn there.
    static constexpr std::chrono::milliseconds longestGrace{3000};

    /// Places that windows of ours have left at `now`.
    void leave(const std::vector<LeftPlace>& places, Compositing compositing, Clock::time_point now);
    /// The screen has been drawn there since what leave() was told of before.
    void draw(const QRegion& part, Clock::time_point now) { left.draw(part, now); }
    /// Forgets the places whose time is over.
    void expire(Clock::time_point now) { left.settle(now); }
    /// When the next one's may be; nothing when there is none.
    [[nodiscard]] std::optional<Clock::time_point> nextExpiry() const { return left.nextSettling(); }

    [[nodiscard]] QRegion region(const WindowStack& stack, Compositing compositing) const;
    /// Every pixel where a window of ours stands or was left, whatever covers it: what a copy of the screen that some
    /// program has taken may show of us.
    [[nodiscard]] QRegion trace(const WindowStack& stack, Compositing compositing) const;

private:
    SettlingPlaces left;
};

} // namespace quillet
