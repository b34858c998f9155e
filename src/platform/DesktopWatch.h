// DesktopWatch.h: what happens around the program's own windows: who draws the desktop, and who stands in front.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace quillet {

/// Tells whether transparency works on this desktop and when the stack of windows changes.
///
/// Costs nothing while windows keep their order. Threads: main, with a running event loop; callbacks come there, the
/// last one before the destructor ends.
class DesktopWatch {
public:
    virtual ~DesktopWatch() = default;

    /// isComposited() has changed.
    std::function<void()> onCompositingChanged;
    /// Windows came or changed their order; several changes that come together are told once.
    std::function<void()> onRestacked;

    /// Whether a compositing manager runs, so that windows may be transparent.
    [[nodiscard]] virtual bool isComposited() const = 0;

    /// Whether a visible window of some program's ordinary kind, full-screen windows among them, stands in front of one
    /// of `windows`. Menus, tooltips, lock screens and the like, of which no window manager knows, do not count: nobody
    /// may push himself in front of those. One or two round trips.
    [[nodiscard]] virtual bool isProgramInFrontOf(const std::vector<std::uint32_t>& windows) = 0;
};

} // namespace quillet
