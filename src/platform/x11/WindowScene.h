// WindowScene.h: the windows of a display, ours and the others', and the screen drawn without ours.
#pragma once

#include "media/PixelRect.h"
#include "platform/x11/CompositorWatch.h"
#include "platform/x11/CoveredMemory.h"
#include "platform/x11/OwnRegion.h"
#include "platform/x11/PictureFormats.h"
#include "platform/x11/RebuiltGround.h"
#include "platform/x11/TaintedWindows.h"
#include "platform/x11/WallpaperGround.h"
#include "platform/x11/WindowDamage.h"
#include "platform/x11/WindowPixels.h"
#include "platform/x11/WindowWatch.h"
#include "platform/x11/XConnection.h"
#include "platform/x11/XScreenSourceSetup.h"

#include <QRegion>
#include <xcb/xcb.h>

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace quillet {

/// Joins what is known of the windows: tells a CoveredMemory what has changed beneath ours, and draws what lies there.
///
/// Threads: the connection's.
class WindowScene {
public:
    using Clock = std::chrono::steady_clock;

    /// Selects its events and reads all windows. `listed` are windows of others. The server must be able to look
    /// beneath windows.
    WindowScene(const XConnection& connection, const XScreenSourceSetup& setup, const std::set<std::uint32_t>& listed);

    bool handleEvent(const xcb_generic_event_t& event);
    /// What is drawn has another place or size.
    void show(const PixelRect& area);

    enum class Whose { all, others };
    /// Whether something has happened that the picture may have to follow; of others only, or repaints of ours too.
    [[nodiscard]] bool isPending(const CoveredMemory& memory, Whose whose = Whose::all) const;
    [[nodiscard]] bool isOwnRepaintPending() const;
    /// When something will, without any event; nothing when not.
    [[nodiscard]] std::optional<Clock::time_point> nextExpiry() const { return own.nextExpiry(); }

    /// Whether what programs have drawn matters here before the server, which composes, has brought it to the screen.
    [[nodiscard]] bool looksBehindScreen(const CoveredMemory& memory) const {
        return compositing == Compositing::byServer && !memory.covered().isEmpty();
    }
    /// Asks what programs have drawn beneath our windows; does not wait.
    void requestDamage(const CoveredMemory& memory);
    /// Waits for the answer. Events that came before it are to be handled before update().
    void collectDamage();
    /// Asks for what events have left open, and tells the memory everything.
    void update(CoveredMemory& memory, const QRegion& screenDamage);

    /// Draws the screen without our windows, over the rectangles that hold `part`; does not wait.
    void draw(const QRegion& part);
    [[nodiscard]] xcb_drawable_t drawing() const { return ground->drawable(); }

    /// After a fetch: asks for what new events have left open. A round trip if there is any.
    void refresh() { watch.refresh(); }
    /// After a fetch: where the screen may have shown us beyond the region that the memory knew of.
    [[nodiscard]] QRegion surprises(const CoveredMemory& memory) const;
    /// After a fetch: whether the order or place of windows has changed inside `part`, or their content.
    [[nodiscard]] bool hasMoved(const QRegion& part) const { return watch.stack().changes().others.intersects(part); }
    [[nodiscard]] bool wasPainted(const QRegion& part) const;

    /// Pixels that the screen has given, outside our windows' region: what they teach of the background.
    /// True when what was drawn before was drawn with a wrong one.
    bool learn(const FetchedPixels& piece, const CoveredMemory& memory);

    /// Whether a window of ours was repainted since the last call.
    [[nodiscard]] bool takeOwnRepaint();

private:
    void begin(std::uint32_t window, const QRegion& fresh);
    void doubt(std::uint32_t window);
    [[nodiscard]] QRegion trace() const;
    void distrustWindowsBeneath();
    void noteBackground(CoveredMemory& memory, const QRegion& screenDamage, const QRegion& moved,
                        Clock::time_point now);

    const XConnection& connection;
    std::shared_ptr<WindowRedirection> redirection; // lives as long as its users
    PictureFormats formats;
    CompositorWatch compositor;
    WindowDamage damage;
    std::vector<std::pair<std::uint32_t, QRegion>> drawn; // what it has told, until update()
    WindowWatch watch;
    WindowPixels pixels;
    WallpaperGround wallpaper;
    std::unique_ptr<RebuiltGround> ground;
    OwnRegion own;
    TaintedWindows tainted;
    Compositing compositing;
    QRegion area;
    bool mustCover = true;     ///< our region is to be computed anew
    bool mustDistrust = false; ///< and everything in it to be drawn anew
    bool ownRepainted = false;
    /// What the shape of windows leaves out of their rectangles that were drawn into: since the last look at the
    /// background, and before that.
    std::array<QRegion, 2> drawnOver;
};

} // namespace quillet
