#include "platform/x11/XScreenSource.h"

#include "platform/x11/captureArea.h"
#include "platform/x11/monitors.h"

#include <xcb/randr.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace quillet {

namespace {

MonitorSource monitorSource(const XConnection& connection) {
    return connection.randrMonitors ? MonitorSource::randr : MonitorSource::wholeRoot;
}

// The protocol's own limit for sizes and places.
constexpr std::int64_t largestSide = std::numeric_limits<std::int16_t>::max();

} // namespace

XScreenSource::XScreenSource(XScreenSourceSetup given, SerialQueue& ownQueue, ScreenSourceOptions wanted)
    : setup(std::move(given)), queue(ownQueue), options(std::move(wanted)), pacing(options.fps) {}

std::unique_ptr<XScreenSource> XScreenSource::make(XScreenSourceSetup setup, SerialQueue& queue,
                                                   ScreenSourceOptions options, Error& error) {
    std::unique_ptr<XScreenSource> source(new XScreenSource(std::move(setup), queue, std::move(options)));
    const std::int64_t width = truncated(source->options.pixelSize.width, "the width of a display");
    const std::int64_t height = truncated(source->options.pixelSize.height, "the height of a display");
    if (width < 1 || height < 1 || width > largestSide || height > largestSide) {
        error = {"Quillet", 5, "The display has no usable size."};
        return nullptr;
    }
    source->connection = XConnection::open(source->setup.displayName, error);
    if (!source->connection) return nullptr;
    if (source->connection->isXwayland()) {
        error = {"Quillet", 4, "Recording in a Wayland session is not supported yet; log in to an X11 session."};
        return nullptr;
    }
    if (!source->findDisplay(error)) return nullptr;
    source->picture = CleanPicture::make(*source->connection,
                                         {.setup = source->setup,
                                          .listed = source->options.excludeWindowIDs,
                                          .pixels = static_cast<std::size_t>(width * height)},
                                         error);
    if (!source->picture) return nullptr;
    source->frames = FrameCycle::make(static_cast<int>(width), static_cast<int>(height),
                                      [clean = source->picture.get()](int frameWidth, int frameHeight) {
                                          return clean->makeFrame(frameWidth, frameHeight);
                                      });
    if (!source->frames) {
        error = {"Quillet", 5, "There is not enough memory for a picture of the display."};
        return nullptr;
    }
    source->selectEvents();
    source->geometryChanged = true;
    source->scheduleTick(FramePacing::Clock::now());
    return source;
}

XScreenSource::~XScreenSource() {
    if (timer) queue.cancel(timer);
    if (isWatching) queue.unwatch(xcb_get_file_descriptor(connection->xcb()));
}

bool XScreenSource::findDisplay(Error& error) {
    if (!connection->randrMonitors) noteFallback("the X server has no RandR 1.5; its whole screen is one display.");
    const auto monitors = listMonitors(connection->xcb(), connection->root(), monitorSource(*connection));
    const auto found = std::ranges::find(monitors, options.displayID, &Monitor::id);
    if (found == monitors.end()) {
        error = {"Quillet", 1, "No capturable display found."};
        return false;
    }
    monitor = found->rect;
    return true;
}

void XScreenSource::selectEvents() {
    if (connection->randr.present)
        xcb_randr_select_input(connection->xcb(), connection->root(),
                               XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE);
    pointer = std::make_unique<PointerWatch>(*connection);
}

// The event loop.

bool XScreenSource::isPending() const {
    return geometryChanged || wantsAnother || picture->isPending() || pointer->isPending();
}

/// Of what is pending.
FramePacing::Cause XScreenSource::cause() const {
    const bool isOurs = !geometryChanged && !wantsAnother && (!picture->isPending() || picture->isPendingForOursOnly());
    return isOurs ? FramePacing::Cause::ours : FramePacing::Cause::others;
}

void XScreenSource::makeAnother() {
    if (hasEnded) return;
    wantsAnother = true;
    scheduleNext();
}

void XScreenSource::waitForEvents() {
    drainEvents(); // what came along with replies does not make the descriptor readable again
    if (connection->isLost()) return end();
    if (!isWatching) queue.watch(xcb_get_file_descriptor(connection->xcb()), [this] { onReadable(); });
    isWatching = true;
    scheduleNext();
}

void XScreenSource::scheduleNext() {
    if (isPending()) return scheduleTick(pacing.due(cause()));
    if (const auto expiry = picture->nextExpiry()) scheduleTick(std::max(*expiry, pacing.due()));
}

void XScreenSource::scheduleTick(FramePacing::Clock::time_point when) {
    if (timer && timerDue <= when) return;
    if (timer) queue.cancel(timer);
    timerDue = when;
    timer = queue.after(when, [this] {
        timer = 0;
        tick();
    });
}

void XScreenSource::onReadable() {
    drainEvents();
    if (connection->isLost()) return end();
    if (isPending() && FramePacing::Clock::now() >= pacing.due(cause())) return tick();
    scheduleNext();
}

void XScreenSource::drainEvents() {
    while (const auto event = owned(xcb_poll_for_event(connection->xcb())))
        handleEvent(*event);
    xcb_flush(connection->xcb()); // events make us watch more, and sooner is better
}

void XScreenSource::handleEvent(const xcb_generic_event_t& event) {
    if (picture->handleEvent(event) || pointer->handleEvent(event)) return;
    const int type = event.response_type & 0x7f;
    const bool isRandr =
        connection->randr.present && (type == connection->randr.firstEvent + XCB_RANDR_SCREEN_CHANGE_NOTIFY ||
                                      type == connection->randr.firstEvent + XCB_RANDR_NOTIFY);
    if (type == XCB_CONFIGURE_NOTIFY || isRandr) geometryChanged = true;
    // Errors of requests that nobody waits for arrive here as well: each such request can only fail together with one
    // that somebody waits for, or because its window is gone.
}

// One tick.

void XScreenSource::tick() {
    if (timer) queue.cancel(timer);
    timer = 0;
    drainEvents();
    PixelBuffer* const frame = frames->writable();
    if (!frame) { // everything is lent: what is pending stays so
        pacing.tookPlaceAt(FramePacing::Clock::now(), cause());
        return waitForEvents();
    }
    if (geometryChanged) readGeometry();
    const bool arrived = fetchPixels(*frame);
    // A repaint of ours is worth a frame, for what is laid over the picture (the camera) may follow it.
    const bool ownRepaint = picture->takeOwnRepaint();
    const bool isWorthAFrame = std::exchange(wantsAnother, false) || ownRepaint;
    PixelRegion changed;
    if (arrived) changed = updatePicture(*frame);
    if ((arrived && isWhole) || !changed.isEmpty() || (isWorthAFrame && !isWhole)) {
        const std::weak_ptr<const bool> stillAlive = alive;
        deliver(std::move(changed));
        if (stillAlive.expired()) return;
    }
    waitForEvents();
}

void XScreenSource::readGeometry() {
    geometryChanged = false;
    xcb_connection_t* const c = connection->xcb();
    const auto cookie = xcb_get_geometry(c, connection->root());
    const auto monitors = listMonitors(c, connection->root(), monitorSource(*connection));
    const auto root = owned(xcb_get_geometry_reply(c, cookie, nullptr));
    if (!root) return; // lost, which the caller sees
    const auto found = std::ranges::find(monitors, options.displayID, &Monitor::id);
    // A monitor that was switched off keeps its last place.
    if (found != monitors.end()) monitor = found->rect;
    const PixelRect bounds = frames->writable()->bounds();
    const PixelRect shown = captureArea(monitor, {0, 0, root->width, root->height}, bounds.width, bounds.height);
    if (shown != area) mustClear = true;
    area = shown;
    picture->show(area);
}

PixelBuffer* XScreenSource::wholeFrame(const PixelBuffer& frame) {
    if (mustClear || area != frame.bounds().offsetBy(monitor.x, monitor.y)) return nullptr;
    PixelBuffer* const spare = picture->canFill(frame) ? frames->spare() : nullptr;
    return spare && picture->canFill(*spare) ? spare : nullptr;
}

bool XScreenSource::fetchPixels(const PixelBuffer& frame) {
    const FramePacing::Cause reason = cause();
    const CleanPicture::Result result = picture->fetch({.request =
                                                            [this] {
                                                                pointer->request();
                                                                fetchedAt = FramePacing::Clock::now();
                                                            },
                                                        .collect = [this] { takePointer(); },
                                                        .drainEvents = [this] { drainEvents(); },
                                                        .wholeFrame = [&] { return wholeFrame(frame); }});
    pacing.tookPlaceAt(fetchedAt, reason);
    if (result == CleanPicture::Result::refused) geometryChanged = true;
    return result == CleanPicture::Result::complete;
}

void XScreenSource::takePointer() {
    std::optional<PointerWatch::State> state = pointer->collect();
    if (!state) return;
    if (state->image && *state->image != cursor.currentImage()) {
        cursor.setImage(std::move(*state->image));
        pointerImageChanged = true;
    }
    pointerState = std::move(*state);
}

PixelRegion XScreenSource::updatePicture(PixelBuffer& frame) {
    const PixelRect shown{area.x - monitor.x, area.y - monitor.y, area.width, area.height};
    const int x = pointerState.x - monitor.x;
    const int y = pointerState.y - monitor.y;
    const PixelRect before = cursor.place();
    const PixelRect after = pointerState.isHere ? cursor.placeAt(x, y, shown) : PixelRect();

    const bool moved = pointerState.x != drawnX || pointerState.y != drawnY || before != after || pointerImageChanged;
    PixelBuffer* const filled = picture->filledFrame();
    const bool redraw = moved || mustClear || filled || picture->touches(before.offsetBy(monitor.x, monitor.y));

    PixelRegion changed;
    if (redraw) cursor.erase(frame);
    if (mustClear) {
        for (int row = 0; row < frame.height(); ++row)
            std::memset(frame.row(row), 0, static_cast<std::size_t>(frame.width()) * 4);
        changed.add(frame.bounds());
        mustClear = false;
    }
    if (filled) {
        picture->completeFrame(frame, monitor.x, monitor.y, changed);
        frames->replaceBy(*filled, after);
        ++wholePictureCount;
    } else {
        picture->takeInto(frame, monitor.x, monitor.y, changed);
    }
    if (redraw && !after.isEmpty()) cursor.draw(filled ? *filled : frame, x, y, shown);
    if (moved) {
        changed.add(before);
        changed.add(after);
        drawnX = pointerState.x;
        drawnY = pointerState.y;
        pointerImageChanged = false;
    }
    return changed;
}

void XScreenSource::deliver(PixelRegion changed) {
    ConstPixelBufferRef frame = isWhole ? frames->lend(std::nullopt) : frames->lend(std::move(changed));
    isWhole = false;
    MediaTime time = mediaTimeAt(fetchedAt);
    time.value = std::max(time.value, lastTime + 1);
    lastTime = time.value;
    // A copy: the receiver may destroy this object, and the callback with it, while it runs.
    const auto receive = options.onFrame;
    if (receive) receive(std::move(frame), time);
}

void XScreenSource::end() {
    if (hasEnded) return;
    hasEnded = true;
    if (timer) queue.cancel(timer);
    timer = 0;
    if (isWatching) queue.unwatch(xcb_get_file_descriptor(connection->xcb()));
    isWatching = false;
    const auto receive = options.onLost;
    if (receive) receive({"Quillet", 2, "The X server has gone away."});
}

ScreenSourceFactory xScreenSourceFactory(XScreenSourceSetup setup) {
    return [given = std::move(setup)](SerialQueue& queue, ScreenSourceOptions options, Error& error) {
        return XScreenSource::make(given, queue, std::move(options), error);
    };
}

} // namespace quillet
