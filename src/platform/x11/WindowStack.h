// WindowStack.h: a mirror of the top-level windows of a display, bottom to top.
#pragma once

#include "media/PixelRect.h"

#include <QRegion>

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace quillet {

/// A child of the root window. Places are pixels of the root.
struct StackedWindow {
    std::uint32_t id = 0;
    PixelRect outer; ///< with its border
    int border = 0;
    bool isMapped = false;
    bool isOwn = false; ///< to be left out of the picture

    bool isKnown = false;     ///< whether the fields below have been asked for
    bool isDrawn = true;      ///< has pixels at all; some only take input
    bool keepsPixels = false; ///< when it is resized
    bool hasAlpha = false;    ///< its pixels say how opaque they are
    std::uint32_t visual = 0; ///< how its pixels are to be read
    QRegion shape;            ///< counted from the corner of `outer`; without meaning while the window is not known
    std::uint32_t opacity = 0xffffffffU; ///< of the whole window

    [[nodiscard]] bool isVisible() const { return isMapped && isDrawn; }
    /// The pixels it covers when it is mapped; all of `outer` as long as more is not known.
    [[nodiscard]] QRegion place() const;
};

/// A place where a window of ours no longer stands.
struct LeftPlace {
    enum class Reason { moved, unmapped };
    QRegion place;
    Reason reason = Reason::moved;
    bool mayCastShadow = false; ///< see WindowStack::mayCastShadow
};

/// What has happened in a stack since it was last asked. Regions are pixels of the root.
struct StackChanges {
    bool any = false;
    QRegion others;              ///< where windows of others have appeared, gone, moved or changed their order
    QRegion ownPlaces;           ///< every place to which a window of ours has come meanwhile, left again or not
    std::vector<LeftPlace> left; ///< by windows of ours
};

/// Kept by whoever hears what happens to the windows; knows nothing of how that is told. News about windows that are
/// not here is ignored: others may destroy them at any time. Threads: a value.
class WindowStack {
public:
    /// Puts a window on top; one of that number that is here already goes first.
    void add(const StackedWindow& window);
    void remove(std::uint32_t id);
    void setMapped(std::uint32_t id, bool isMapped);
    struct Placement {
        PixelRect outer;
        int border = 0;
        std::uint32_t above = 0; ///< the window right below it; 0: it is the lowest
    };
    void configure(std::uint32_t id, const Placement& placement);
    /// The same without a change of the order.
    void setPlace(std::uint32_t id, const PixelRect& outer, int border);
    void raise(std::uint32_t id);
    void lower(std::uint32_t id);
    /// Takes what only asking tells (isKnown and the fields below it) over from `facts`, which carries the number.
    void learn(const StackedWindow& facts);
    void makeOwn(std::uint32_t id);

    [[nodiscard]] const StackedWindow* find(std::uint32_t id) const;
    /// Bottom to top.
    [[nodiscard]] const std::vector<std::uint32_t>& order() const { return ids; }
    [[nodiscard]] std::size_t ownCount() const { return owned; }

    [[nodiscard]] const StackChanges& changes() const { return news; }
    void forgetChanges() { news = {}; }

    /// Whether a compositing manager may draw a shadow for it: windows that a window manager has framed, and those
    /// without transparency. Ours that are neither ask for none.
    [[nodiscard]] static bool mayCastShadow(const StackedWindow& window) { return !window.isKnown || !window.hasAlpha; }

private:
    StackedWindow* edit(std::uint32_t id);
    void noteAppearance(const StackedWindow& window);
    void noteDisappearance(const StackedWindow& window, LeftPlace::Reason reason);
    void noteRestacking(const StackedWindow& window);
    void place(std::uint32_t id, std::size_t position);

    std::unordered_map<std::uint32_t, StackedWindow> windows;
    std::vector<std::uint32_t> ids;
    std::size_t owned = 0;
    StackChanges news;
};

} // namespace quillet
