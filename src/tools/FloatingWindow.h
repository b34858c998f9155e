// FloatingWindow.h: the window under every tool: it floats above everything and nobody notices it otherwise.
#pragma once

#include "geometry/Rect.h"
#include "geometry/Screen.h"
#include "platform/WindowControl.h"
#include "tools/FloatingLayer.h"

#include <QRegion>
#include <QSize>
#include <QString>
#include <QWidget>

#include <cstdint>
#include <functional>
#include <memory>

namespace quillet {

/// A top-level without a frame, on all workspaces, in front of all ordinary windows (full-screen ones included), that
/// never takes the keyboard unless asked to. Window managers leave it alone.
///
/// Where a compositing manager runs it is as transparent as what is drawn into it; where none does, transparency would
/// be black, so the window must be cut to a shape() that is drawn opaque (isTranslucent() tells). Both while it is
/// shown, whenever a compositing manager comes or goes.
///
/// Its place is frame(), in global screen points, and nothing else: the widget's own geometry follows by way of the
/// window system, a little later and rounded to whole points; move(), resize() and setGeometry() must not be used.
/// Threads: main.
class FloatingWindow : public QWidget {
public:
    enum class Keyboard {
        never,
        whenPressed, ///< takes it when the mouse is pressed anywhere in it, gives it back when hidden
    };
    enum class Mouse {
        taken,
        passesThrough, ///< reaches what lies beneath
    };
    enum class Shadow {
        none,
        allowed, ///< as the compositing manager likes it
    };
    struct Options {
        QString accessibleName; ///< what a screen reader calls the window
        Keyboard keyboard = Keyboard::never;
        Mouse mouse = Mouse::taken;
        Shadow shadow = Shadow::none;
    };

    /// Not shown yet.
    explicit FloatingWindow(const Options& options);
    ~FloatingWindow() override;

    /// Exactly what was set, fractions included.
    [[nodiscard]] Rect frame() const { return exactFrame; }
    /// On screen it is rounded as a film of that screen rounds it (displayPixels()).
    void setFrame(const Rect& frame);

    /// Shows it in front of everything, without taking the keyboard, whichever program is active.
    void orderFront();
    void orderOut();

    /// What screen sources know it by.
    [[nodiscard]] std::uint32_t windowNumber() const { return control->number(); }
    /// The screen with most of it, else the main one; null when there is no screen.
    [[nodiscard]] const Screen* holdingScreen() const;
    [[nodiscard]] const ScreenArrangement& screens() const { return layer->screens(); }

    /// Whether what is drawn transparent is transparent.
    [[nodiscard]] bool isTranslucent() const;
    /// Its size in the window system's pixels, which is exact also where points are not.
    [[nodiscard]] QSize pixelSize() const { return {pixels.width, pixels.height}; }
    /// Pixels per point.
    [[nodiscard]] double scale() const;
    /// The mouse at an event, in global screen points, to the pixel, which the event itself does not know.
    [[nodiscard]] Point mouseAt(const QMouseEvent& event) const;
    /// A place in the toolkit's global coordinates as a global screen point; the toolkit's mouse is rounded to points.
    [[nodiscard]] Point globalPosition(const QPointF& position) const;

protected:
    /// The pixels (y down) of which the window consists; absent, as if not overridden, the whole rectangle. Where the
    /// window is not translucent, everything in it must be drawn opaque.
    [[nodiscard]] virtual std::optional<QRegion> shape() const { return std::nullopt; }
    /// The pixels (y down) that take the mouse, where the window takes it at all and consists of something; absent:
    /// all.
    [[nodiscard]] virtual std::optional<QRegion> mouseArea() const { return std::nullopt; }
    /// Something that is drawn, or shape() or mouseArea(), has changed without a change of the size in pixels.
    void redraw();
    /// The arrangement of screens has changed; the window has been placed anew.
    virtual void screensRearranged() {}
    /// Where the middle of the window is on no screen any more: moves it onto the one that is left to it. False, and
    /// nothing changes, where it can be reached.
    bool returnToScreens();

    /// A painter on this widget whose unit is the window system's pixel, from the top left.
    void usePixels(QPainter& painter) const;

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    friend class FloatingLayer;
    void compositingChanged();
    void takeOver(const ScreenSpace& before);
    void screensChanged();
    void placeOnScreen();
    [[nodiscard]] PixelRect canvas() const;
    [[nodiscard]] const Screen* roundingScreen() const;

    const Options options;
    // Shared by all floating windows, the last one of which takes it down.
    const std::shared_ptr<FloatingLayer> layer;
    std::unique_ptr<WindowControl> control;
    Rect exactFrame;
    PixelRect pixels;
};

} // namespace quillet
