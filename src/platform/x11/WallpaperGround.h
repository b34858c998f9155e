// WallpaperGround.h: the root window's background as a source to draw from.
#pragma once

#include "media/PixelRect.h"
#include "platform/x11/LearnedWallpaper.h"
#include "platform/x11/OwnRegion.h"
#include "platform/x11/PictureFormats.h"
#include "platform/x11/RootFetch.h"
#include "platform/x11/XConnection.h"

#include <QRegion>
#include <xcb/render.h>
#include <xcb/xcb.h>

#include <chrono>
#include <optional>
#include <vector>

namespace quillet {

/// When the server composes, the background is whatever it would paint where no window is. It is made to paint it into
/// a window as large as the root that nobody can see, so this is exact also for plain colours and patterns that no
/// property tells of. A compositing manager paints the picture that properties of the root name, or one of its own:
/// the screen tells which, where no window lies, and its own is learned from there.
///
/// Threads: the connection's.
class WallpaperGround {
public:
    WallpaperGround(const XConnection& connection, const PictureFormats& formats);
    ~WallpaperGround();
    WallpaperGround(const WallpaperGround&) = delete;
    WallpaperGround& operator=(const WallpaperGround&) = delete;

    /// The background may have changed, or the root's size has. The next picture() looks again.
    void invalidate() { isCurrent = false; }
    /// The properties name another background. A manager that has followed them so far needs some time to follow again,
    /// in which the screen proves nothing.
    void noteNewProperty() {
        invalidate();
        reviewUntil = {};
    }
    /// Whether the background is one that only the screen knows.
    [[nodiscard]] bool isLearning() const { return source == Source::learned; }
    /// Whether learn() has any use.
    [[nodiscard]] bool isCurious() const {
        return isLearning() ||
               (source == Source::property && (custom != Custom::follows || Clock::now() < reviewUntil));
    }
    /// Takes from pixels that have arrived from the screen what shows nothing but background: `bare`. May take a round
    /// trip. True when what was drawn with this background so far was wrong or a guess.
    bool learn(const FetchedPixels& piece, const QRegion& bare);

    /// The root's background, in pixels of the root. May take a round trip when it is not current.
    [[nodiscard]] xcb_render_picture_t picture(Compositing compositing);

private:
    using Clock = std::chrono::steady_clock;
    enum class Source { none, server, property, learned };
    /// What the manager makes of the properties.
    enum class Custom { unknown, follows, ignores };
    [[nodiscard]] bool learnCustom(const FetchedPixels& piece, const QRegion& bare);
    [[nodiscard]] std::optional<bool> showsNamed(const FetchedPixels& piece, const QRegion& bare) const;
    void release();
    [[nodiscard]] bool readRootSize();
    void paintByServer();
    [[nodiscard]] bool usePropertys();
    void makeLearned();
    void expectTheUnseen();
    void createPixmap();

    const XConnection& connection;
    const PictureFormats& formats;
    bool isCurrent = false;
    std::optional<Compositing> madeFor;
    Source source = Source::none;
    int width = 0; // of the root
    int height = 0;
    xcb_pixmap_t pixmap = 0; // ours, or 0
    xcb_gcontext_t graphics = 0;
    xcb_render_picture_t paint = 0;
    LearnedWallpaper learned;
    std::vector<xcb_atom_t> properties;
    xcb_pixmap_t named = 0; // by a property; 0: by none. Its program's.
    int namedWidth = 0;
    int namedHeight = 0;
    Custom custom = Custom::unknown;
    Clock::time_point reviewUntil; // until then what `custom` says may turn out otherwise
    Clock::time_point turnedAt;
};

} // namespace quillet
