// DamageCollector.h: which parts of the root window may have changed since they were last asked for.
#pragma once

#include "platform/x11/XConnection.h"

#include <QRegion>
#include <xcb/damage.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <cstdint>
#include <optional>

namespace quillet {

/// Collects damage in pixels of the root window.
///
/// The server sends one event when the first pixel changes after request() and keeps the rest to itself, so that a busy
/// program wakes us once a frame. Without DAMAGE nothing is announced and everything counts as changed each time;
/// without XFIXES changes are announced, but not where. Threads: the connection's.
class DamageCollector {
public:
    explicit DamageCollector(const XConnection& connection);
    ~DamageCollector();
    DamageCollector(const DamageCollector&) = delete;
    DamageCollector& operator=(const DamageCollector&) = delete;

    /// Whether changes are not announced at all, so that the only way to learn of them is to look again and again.
    [[nodiscard]] bool mustPoll() const { return damage == 0; }
    /// True if the event was for this collector.
    bool handleEvent(const xcb_generic_event_t& event);
    [[nodiscard]] bool isPending() const { return announced || mustPoll(); }

    enum class Windows { areOnTheScreen, mayBeAhead };
    /// Asks for what has changed since the last request, if anything was announced; does not wait. What happens from
    /// then on belongs to the next request.
    ///
    /// A server that composes brings what programs have drawn to the screen only when it has nothing else to do. Where
    /// windows may be ahead of the screen for that reason, it is made to do so first, announced or not.
    void request(Windows windows);
    /// Waits for the answer and cuts it to `area`.
    [[nodiscard]] QRegion collect(const QRect& area);

private:
    const XConnection& connection;
    xcb_damage_damage_t damage = 0;
    xcb_xfixes_region_t parts = 0; // 0: the server cannot tell where
    bool announced = false;
    bool wasAsked = false;
    std::uint32_t askedBy = 0; // the sequence number of the last request for damage
    std::optional<xcb_xfixes_fetch_region_cookie_t> asked;
};

} // namespace quillet
