// DamageCollector.h: which parts of the root window may have changed since they were last asked for.
#pragma once

#include "media/PixelRect.h"
#include "platform/x11/XConnection.h"

#include <xcb/damage.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <memory>

namespace quillet {

/// Collects damage in pixels of the root window.
///
/// The server sends one event when the first pixel changes after take() and keeps the rest to itself, so that a busy
/// program wakes us once a frame. Without DAMAGE nothing is announced and take() answers everything each time; without
/// XFIXES changes are announced, but not where.
/// Threads: the connection's.
class DamageCollector {
public:
    explicit DamageCollector(const XConnection& connection);
    ~DamageCollector();
    DamageCollector(const DamageCollector&) = delete;
    DamageCollector& operator=(const DamageCollector&) = delete;

    /// Whether changes are not announced at all, so that the only way to learn of them is to look again and again.
    [[nodiscard]] bool mustPoll() const { return damage == 0; }
    /// Whether take() may answer with something.
    [[nodiscard]] bool isPending() const { return announced || !extra.isEmpty() || mustPoll(); }

    /// True if the event was for this collector.
    bool handleEvent(const xcb_generic_event_t& event);
    /// Damage that the server does not know of: a picture that must be fetched anew.
    void add(const PixelRegion& region) { extra.add(region); }

    /// What has changed since the last call, cut to `area`; what happens from now on belongs to the next call. One
    /// round trip if something was announced, else none.
    [[nodiscard]] PixelRegion take(const PixelRect& area);

private:
    const XConnection& connection;
    xcb_damage_damage_t damage = 0;
    xcb_xfixes_region_t parts = 0; // 0: the server cannot tell where
    bool announced = false;
    PixelRegion extra;
};

} // namespace quillet
