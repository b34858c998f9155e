// CleanPicture.h: the screen's pixels without our windows, brought up to date once a tick.
#pragma once

#include "media/PixelBuffer.h"
#include "platform/x11/CoveredMemory.h"
#include "platform/x11/DamageCollector.h"
#include "platform/x11/RootFetch.h"
#include "platform/x11/WindowScene.h"
#include "platform/x11/XConnection.h"
#include "platform/x11/XScreenSourceSetup.h"

#include <QRegion>
#include <xcb/xcb.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>

namespace quillet {

/// Fetches what has changed: plainly from the root where none of our windows is, and beneath them from a drawing of the
/// other windows. What was fetched while one of ours came, went or moved is thrown away and fetched again.
///
/// Where nothing is to be left out, or the server cannot look beneath windows (which a line on standard error says),
/// everything is fetched plainly.
/// Threads: the connection's.
class CleanPicture {
public:
    using Clock = std::chrono::steady_clock;

    struct Options {
        const XScreenSourceSetup& setup;
        std::set<std::uint32_t> listed; ///< windows of others to be left out
        std::size_t pixels = 0;         ///< the most that the picture will have
    };
    /// Null with the reason in `error`.
    [[nodiscard]] static std::unique_ptr<CleanPicture> make(const XConnection& connection, const Options& options,
                                                            Error& error);

    /// True if the event was for this picture.
    bool handleEvent(const xcb_generic_event_t& event);
    /// Whether there is something to fetch, or a repaint of ours to tell of.
    [[nodiscard]] bool isPending() const;
    /// Whether that is, as far as is known, nothing but a repaint of ours.
    [[nodiscard]] bool isPendingForOursOnly() const;
    /// When there will be without any event; nothing when not.
    [[nodiscard]] std::optional<Clock::time_point> nextExpiry() const;

    /// From now on the picture shows `area` of the root, all of which is to be fetched.
    void show(const PixelRect& area);

    enum class Result {
        complete,
        unsettled, ///< our windows were never at rest; what was wanted is still wanted
        refused,   ///< the root has another size by now; what was wanted is still wanted
        lost,      ///< the server has gone
    };
    struct Hooks {
        std::function<void()> request; ///< sends more questions; called before each wait for pixels
        std::function<void()> collect; ///< takes their answers
        std::function<void()> drainEvents;
        /// A frame of RootFetch that shows the area, nothing else, and nobody sees; null when there is none. Called
        /// when nearly all of the picture is to be fetched.
        std::function<PixelBuffer*()> wholeFrame;
    };
    /// Two round trips when nothing comes between.
    [[nodiscard]] Result fetch(const Hooks& hooks);

    /// Whether what was fetched has pixels in `rect` of the root.
    [[nodiscard]] bool touches(const PixelRect& rect) const;
    /// The hook's frame, when pixels came into it: it is to be the picture from now on, by completeFrame().
    [[nodiscard]] PixelBuffer* filledFrame() const { return filled; }
    /// Makes `frame`, whose corner stands at (left, top) of the root, show what was fetched, and adds to `changed`
    /// where it differs from before. Once after each complete fetch(), where there is no filledFrame().
    void takeInto(PixelBuffer& frame, int left, int top, PixelRegion& changed);
    /// The same where there is one: `before`, which showed the picture until now, stays as it is.
    void completeFrame(const PixelBuffer& before, int left, int top, PixelRegion& changed);
    /// Whether a window of ours was repainted since the last call.
    [[nodiscard]] bool takeOwnRepaint() { return scene && scene->takeOwnRepaint(); }

    /// See RootFetch.
    [[nodiscard]] PixelBufferRef makeFrame(int width, int height) { return pixels->makeFrame(width, height); }
    [[nodiscard]] bool canFill(const PixelBuffer& frame) const { return pixels->canFill(frame); }
    [[nodiscard]] bool sharesMemory() const { return pixels->isShared(); }

private:
    explicit CleanPicture(const XConnection& connection);
    void collectDamage(const Hooks& hooks);
    void requestPixels(const Hooks& hooks);
    [[nodiscard]] bool isUsable(int attempt) const;
    [[nodiscard]] QRegion fetchedAlong(const FetchedPixels& piece) const;
    /// From pixels that may be used. True when they tell of a background that was not known: what was drawn with
    /// another one is then out of date.
    bool learnsBackground();

    const XConnection& connection;
    std::unique_ptr<DamageCollector> damage;
    std::unique_ptr<RootFetch> pixels;
    std::unique_ptr<WindowScene> scene; // null: everything is fetched plainly
    CoveredMemory memory;
    PixelRect area;
    PixelBuffer* filled = nullptr; // by what was asked for last
    QRegion fetched;               // from the root, with what was fetched along
    QRegion rebuilt;               // exactly what was out of date
    QRegion drawn;                 // the same with what was drawn along
};

} // namespace quillet
