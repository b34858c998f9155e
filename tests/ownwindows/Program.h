// Program.h: a program of the test's own, with windows of every kind.
#pragma once

#include "media/PixelRect.h"
#include "media/SerialQueue.h"
#include "platform/x11/xcbHandles.h"

#include <xcb/xcb.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace quillet::testing {

/// A pixel of a window as 0xAARRGGBB, premultiplied, from the window's seed and the place within the window.
using WindowPaint = std::uint32_t (*)(std::uint32_t seed, int x, int y);

/// Noise whose green is the strongest channel everywhere, so that nothing painted of it, blended over more of it, ever
/// leans towards magenta.
[[nodiscard]] std::uint32_t greenNoise(std::uint32_t seed, int x, int y);
/// The same with an alpha that changes from pixel to pixel.
[[nodiscard]] std::uint32_t translucentNoise(std::uint32_t seed, int x, int y);
/// 0xff00ff, which nothing else on the display has; the seed is ignored.
[[nodiscard]] std::uint32_t magenta(std::uint32_t seed, int x, int y);
/// Half transparent magenta.
[[nodiscard]] std::uint32_t translucentMagenta(std::uint32_t seed, int x, int y);
/// The seed itself as a colour.
[[nodiscard]] std::uint32_t plainColour(std::uint32_t seed, int x, int y);

/// Whether a pixel (0xRRGGBB) leans towards magenta by more than a grey or a colour of ours could: true for magenta
/// blended into a grey from a twelfth on.
[[nodiscard]] bool isTinted(std::uint32_t pixel);

enum class Outline { rectangle, disc, frame };
enum class Handling { overrideRedirect, managed, managedWithoutTitle };
enum class Depth { root, withAlpha };
enum class Background { plain, none };
enum class Painting { answersExposure, never };

struct WindowOptions {
    PixelRect rect; ///< of the window without its border; the place is the border's top left corner, in root pixels
    WindowPaint paint = greenNoise;
    std::uint32_t seed = 1;
    Outline outline = Outline::rectangle;
    Handling handling = Handling::overrideRedirect;
    Depth depth = Depth::root;
    Background background = Background::plain; ///< the colour of the first pixel, or none at all
    Painting painting = Painting::answersExposure;
    bool keepsPixels = false;    ///< when it is resized
    int border = 0;              ///< pixels, of a dark green
    std::string type = {};       ///< "_NET_WM_WINDOW_TYPE_MENU"; none if empty
    double opacity = 1;          ///< asked of compositing managers
    bool takesFocus = true;      ///< when managed
    bool wantsShadow = true;     ///< false: tells picom, which would fill the hole of a frame with it
    std::uint32_t processID = 0; ///< what it claims; 0: nothing
    xcb_window_t parent = 0;     ///< 0: the root
};

/// One client of the server with a thread that paints what the server asks for, as programs do. Every call returns
/// after the server has carried it out; windows are known by the server's numbers.
///
/// Threads: any; all of it happens on the program's own queue.
class Program {
public:
    explicit Program(const std::string& displayName);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Which windows are this program's: those with (number & ~mask) == base.
    [[nodiscard]] std::uint32_t resourceBase() const;
    [[nodiscard]] std::uint32_t resourceMask() const;

    /// Makes a window; it is not mapped.
    [[nodiscard]] xcb_window_t create(const WindowOptions& options);
    /// Maps a window and waits until it has been painted once; one that never paints, until it is viewable. False when
    /// that does not happen.
    [[nodiscard]] bool show(xcb_window_t window);
    /// Both.
    [[nodiscard]] xcb_window_t add(const WindowOptions& options);

    void map(xcb_window_t window);
    /// Withdraws it, as programs do, and waits until it is no longer viewable.
    void hide(xcb_window_t window);
    void move(xcb_window_t window, int x, int y);
    void resize(xcb_window_t window, int width, int height);
    void raise(xcb_window_t window);
    void lower(xcb_window_t window);
    void destroy(xcb_window_t window);
    void repaint(xcb_window_t window, std::uint32_t seed);
    void setOutline(xcb_window_t window, Outline outline);
    void setOpacity(xcb_window_t window, double opacity);

    /// Runs `task` with the bare connection, on the queue: for what is too fast for the calls above.
    void run(const std::function<void(xcb_connection_t*)>& task);
    /// Stops answering the server, as a program that hangs; for good.
    void hang();
    void sync();
    struct Place {
        PixelRect rect;        ///< without border and frame, in root pixels
        bool isOpaque = false; ///< and rectangular
    };
    /// Where its viewable top-level windows are.
    [[nodiscard]] std::vector<Place> places();
    [[nodiscard]] xcb_window_t root() const { return screen->root; }
    [[nodiscard]] xcb_atom_t atom(const std::string& name);

private:
    struct Window {
        WindowOptions options;
        bool isPainted = false;
    };

    void handleEvents();
    void handle(const xcb_generic_event_t& event);
    void paint(xcb_window_t window, const PixelRect& part);
    void describe(xcb_window_t window, const WindowOptions& options);
    void applyOutline(xcb_window_t window, const WindowOptions& options);
    void change32(xcb_window_t window, const std::string& name, xcb_atom_t type,
                  const std::vector<std::uint32_t>& values);
    [[nodiscard]] xcb_gcontext_t graphicsFor(xcb_window_t window, Depth depth);
    [[nodiscard]] bool isViewable(xcb_window_t window);
    void roundTrip();

    XcbConnectionHandle connection;
    const xcb_screen_t* screen = nullptr;
    xcb_visualid_t alphaVisual = 0;
    xcb_colormap_t alphaColours = 0;
    std::map<Depth, xcb_gcontext_t> graphics;
    std::map<std::string, xcb_atom_t> atoms;
    std::map<xcb_window_t, Window> windows;
    bool isHanging = false;
    SerialQueue queue{"test.program"}; // the last member: its thread uses all of the above
};

} // namespace quillet::testing
