#include "platform/x11/WallpaperGround.h"

#include "platform/x11/regions.h"

#include <xcb/composite.h>
#include <xcb/shape.h>

#include <algorithm>
#include <array>
#include <cstdlib>

namespace quillet {

WallpaperGround::WallpaperGround(const XConnection& server, const PictureFormats& pictureFormats)
    : connection(server), formats(pictureFormats), graphics(xcb_generate_id(server.xcb())),
      // Set by programs that paint backgrounds, so that others can show them; the second is the older custom.
      properties(server.atoms({"_XROOTPMAP_ID", "ESETROOT_PMAP_ID"})) {
    const std::uint32_t withoutExposures = 0;
    xcb_create_gc(connection.xcb(), graphics, connection.root(), XCB_GC_GRAPHICS_EXPOSURES, &withoutExposures);
}

WallpaperGround::~WallpaperGround() {
    release();
    xcb_free_gc(connection.xcb(), graphics);
}

void WallpaperGround::release() {
    if (paint) xcb_render_free_picture(connection.xcb(), paint);
    if (pixmap) xcb_free_pixmap(connection.xcb(), pixmap);
    paint = 0;
    pixmap = 0;
    source = Source::none;
}

bool WallpaperGround::readRootSize() {
    xcb_connection_t* const c = connection.xcb();
    const auto root = owned(xcb_get_geometry_reply(c, xcb_get_geometry(c, connection.root()), nullptr));
    if (!root) return false;
    width = root->width;
    height = root->height;
    return true;
}

void WallpaperGround::createPixmap() {
    xcb_connection_t* const c = connection.xcb();
    pixmap = xcb_generate_id(c);
    xcb_create_pixmap(c, connection.rootDepth(), pixmap, connection.root(), static_cast<std::uint16_t>(width),
                      static_cast<std::uint16_t>(height));
    paint = xcb_generate_id(c);
    xcb_render_create_picture(c, paint, pixmap, formats.ofVisual(connection.rootVisual()), 0, nullptr);
}

void WallpaperGround::paintByServer() {
    xcb_connection_t* const c = connection.xcb();
    const xcb_window_t window = xcb_generate_id(c);
    const std::array<std::uint32_t, 2> values{XCB_BACK_PIXMAP_PARENT_RELATIVE, 1};
    xcb_create_window(c, connection.rootDepth(), window, connection.root(), 0, 0, static_cast<std::uint16_t>(width),
                      static_cast<std::uint16_t>(height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, connection.rootVisual(),
                      XCB_CW_BACK_PIXMAP | XCB_CW_OVERRIDE_REDIRECT, values.data());
    // No pointer may find it either.
    xcb_shape_rectangles(c, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED, window, 0, 0, 0, nullptr);
    const std::uint32_t below = XCB_STACK_MODE_BELOW;
    xcb_configure_window(c, window, XCB_CONFIG_WINDOW_STACK_MODE, &below);
    // From here on its pixels do not go to the screen.
    xcb_composite_redirect_window(c, window, XCB_COMPOSITE_REDIRECT_MANUAL);
    xcb_map_window(c, window);
    const xcb_pixmap_t painted = xcb_generate_id(c);
    xcb_composite_name_window_pixmap(c, window, painted);
    createPixmap();
    xcb_copy_area(c, painted, pixmap, graphics, 0, 0, 0, 0, static_cast<std::uint16_t>(width),
                  static_cast<std::uint16_t>(height));
    xcb_free_pixmap(c, painted);
    xcb_destroy_window(c, window);
    source = Source::server;
}

bool WallpaperGround::usePropertys() {
    xcb_connection_t* const c = connection.xcb();
    named = 0;
    for (const xcb_atom_t property : properties) {
        constexpr std::uint8_t keep = 0;
        const auto reply = owned(xcb_get_property_reply(
            c, xcb_get_property(c, keep, connection.root(), property, XCB_ATOM_PIXMAP, 0, 1), nullptr));
        if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 4) continue;
        const xcb_pixmap_t pixmapNamed = *static_cast<const xcb_pixmap_t*>(xcb_get_property_value(reply.get()));
        // Its program may be gone, and the pixmap with it.
        const auto geometry = owned(xcb_get_geometry_reply(c, xcb_get_geometry(c, pixmapNamed), nullptr));
        if (!geometry || geometry->depth != connection.rootDepth()) continue;
        named = pixmapNamed;
        namedWidth = geometry->width;
        namedHeight = geometry->height;
        if (custom == Custom::ignores) return false; // but it may be seen yet
        paint = xcb_generate_id(c);
        const std::uint32_t tiled = XCB_RENDER_REPEAT_NORMAL;
        xcb_render_create_picture(c, paint, named, formats.ofVisual(connection.rootVisual()), XCB_RENDER_CP_REPEAT,
                                  &tiled);
        source = Source::property;
        return true;
    }
    return false;
}

void WallpaperGround::makeLearned() {
    createPixmap();
    learned.forget();
    source = Source::learned;
    expectTheUnseen();
}

/// Whether a part of the screen that shows nothing but background shows what the properties name; nothing when that
/// cannot be told.
std::optional<bool> WallpaperGround::showsNamed(const FetchedPixels& piece, const QRegion& bare) const {
    constexpr int sampleSide = 64;
    constexpr int fewestPixels = 256;
    QRect sample;
    for (const QRect& rect : bare) {
        // Not beyond the edge of one tile, so that it is one rectangle of the picture, too.
        const int left = rect.x() % namedWidth;
        const int top = rect.y() % namedHeight;
        const QRect part(rect.x(), rect.y(), std::min({rect.width(), sampleSide, namedWidth - left}),
                         std::min({rect.height(), sampleSide, namedHeight - top}));
        if (part.width() * part.height() > sample.width() * sample.height()) sample = part;
    }
    if (sample.width() * sample.height() < fewestPixels) return std::nullopt;
    xcb_connection_t* const c = connection.xcb();
    constexpr std::uint32_t allPlanes = ~0U;
    const auto reply = owned(xcb_get_image_reply(
        c,
        xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, named, static_cast<std::int16_t>(sample.x() % namedWidth),
                      static_cast<std::int16_t>(sample.y() % namedHeight), static_cast<std::uint16_t>(sample.width()),
                      static_cast<std::uint16_t>(sample.height()), allPlanes),
        nullptr));
    const std::size_t rowBytes = static_cast<std::size_t>(sample.width()) * 4;
    if (!reply || static_cast<std::size_t>(xcb_get_image_data_length(reply.get())) <
                      rowBytes * static_cast<std::size_t>(sample.height()))
        return std::nullopt;
    const std::uint8_t* const wanted = xcb_get_image_data(reply.get());
    int different = 0;
    for (int y = 0; y < sample.height(); ++y) {
        const std::uint8_t* const promised = wanted + static_cast<std::size_t>(y) * rowBytes;
        const auto* const seen = reinterpret_cast<const std::uint8_t*>(
            piece.pixels + static_cast<std::size_t>(sample.y() + y - piece.rect.y) * piece.strideBytes +
            static_cast<std::size_t>(sample.x() - piece.rect.x) * 4);
        for (std::size_t at = 0; at < rowBytes; at += 4)
            for (std::size_t channel = 0; channel < 3; ++channel) {
                constexpr int byDrawing = 8; // graphics processors round as they like
                if (std::abs(promised[at + channel] - seen[at + channel]) <= byDrawing) continue;
                ++different;
                break;
            }
    }
    // A widget on the background may be no window.
    return different * 10 < sample.width() * sample.height();
}

/// True when it turns out otherwise than was drawn so far.
bool WallpaperGround::learnCustom(const FetchedPixels& piece, const QRegion& bare) {
    const std::optional<bool> isShown = showsNamed(piece, bare);
    if (!isShown) return false;
    if (*isShown == (source == Source::property)) {
        if (*isShown) custom = Custom::follows;
        return false;
    }
    // While the screen shows both, this would never end.
    constexpr std::chrono::seconds betweenTurns{1};
    if (Clock::now() - turnedAt < betweenTurns) return false;
    turnedAt = Clock::now();
    custom = *isShown ? Custom::follows : Custom::ignores;
    isCurrent = false;
    (void)picture(Compositing::byManager);
    return true;
}

bool WallpaperGround::learn(const FetchedPixels& piece, const QRegion& visible) {
    const QRegion bare = visible & toQRect(piece.rect);
    const bool turned = isCurious() && named && !bare.isEmpty() && learnCustom(piece, bare);
    if (source != Source::learned) return turned;
    const bool isFirst = learned.knownPart().isEmpty();
    const QRegion news = learned.news(bare);
    if (news.isEmpty()) return turned;
    xcb_connection_t* const c = connection.xcb();
    for (const QRect& rect : news) {
        // Rows of the whole piece go along where the rectangle is narrower: one request for each row is dearer.
        const std::size_t rowBytes = static_cast<std::size_t>(rect.width()) * 4;
        std::vector<std::byte> packed(rowBytes * static_cast<std::size_t>(rect.height()));
        for (int y = 0; y < rect.height(); ++y) {
            const std::byte* const from = piece.pixels +
                                          static_cast<std::size_t>(rect.y() + y - piece.rect.y) * piece.strideBytes +
                                          static_cast<std::size_t>(rect.x() - piece.rect.x) * 4;
            std::copy_n(from, rowBytes, packed.data() + static_cast<std::size_t>(y) * rowBytes);
        }
        learned.learn(rect, packed.data(), rowBytes);
        const std::size_t limit = static_cast<std::size_t>(xcb_get_maximum_request_length(c)) * 4 - 64;
        const int rows = std::max(1, static_cast<int>(limit / rowBytes));
        for (int y = 0; y < rect.height(); y += rows) {
            const int count = std::min(rows, rect.height() - y);
            xcb_put_image(
                c, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, graphics, static_cast<std::uint16_t>(rect.width()),
                static_cast<std::uint16_t>(count), static_cast<std::int16_t>(rect.x()),
                static_cast<std::int16_t>(rect.y() + y), 0, connection.rootDepth(),
                static_cast<std::uint32_t>(rowBytes * static_cast<std::size_t>(count)),
                reinterpret_cast<const std::uint8_t*>(packed.data() + static_cast<std::size_t>(y) * rowBytes));
        }
    }
    expectTheUnseen();
    return isFirst || turned;
}

/// What was never seen is expected to look like what was seen beside it, which is right for colours and for gradients
/// from top to bottom.
void WallpaperGround::expectTheUnseen() {
    xcb_connection_t* const c = connection.xcb();
    const QRegion unseen = QRegion(0, 0, width, height) - learned.knownPart();
    if (unseen.isEmpty()) return;
    const std::uint32_t colour = learned.likelyColour();
    xcb_change_gc(c, graphics, XCB_GC_FOREGROUND, &colour);
    std::vector<xcb_rectangle_t> rects;
    for (const QRect& rect : unseen)
        rects.push_back({static_cast<std::int16_t>(rect.x()), static_cast<std::int16_t>(rect.y()),
                         static_cast<std::uint16_t>(rect.width()), static_cast<std::uint16_t>(rect.height())});
    xcb_poly_fill_rectangle(c, pixmap, graphics, static_cast<std::uint32_t>(rects.size()), rects.data());
    const auto isSeen = [&](const QRect& column) {
        return column.x() >= 0 && column.x() < width && (QRegion(column) - learned.knownPart()).isEmpty();
    };
    for (const QRect& rect : unseen) {
        const QRect before(rect.x() - 1, rect.y(), 1, rect.height());
        const QRect after(rect.x() + rect.width(), rect.y(), 1, rect.height());
        if (!isSeen(before) && !isSeen(after)) continue;
        // One column, then what is there again and again.
        const QRect& column = isSeen(before) ? before : after;
        const auto copy = [&](int from, int to, int columns) {
            xcb_copy_area(c, pixmap, pixmap, graphics, static_cast<std::int16_t>(from),
                          static_cast<std::int16_t>(rect.y()), static_cast<std::int16_t>(to),
                          static_cast<std::int16_t>(rect.y()), static_cast<std::uint16_t>(columns),
                          static_cast<std::uint16_t>(rect.height()));
        };
        copy(column.x(), rect.x(), 1);
        for (int done = 1; done < rect.width(); done *= 2)
            copy(rect.x(), rect.x() + done, std::min(done, rect.width() - done));
    }
}

xcb_render_picture_t WallpaperGround::picture(Compositing compositing) {
    if (isCurrent && madeFor == compositing) return paint;
    release();
    if (!readRootSize()) return 0;
    if (compositing != madeFor) {
        custom = Custom::unknown;
        // Some managers take their time before they draw a background of their own.
        constexpr std::chrono::seconds review{3};
        reviewUntil = Clock::now() + review;
    }
    if (compositing == Compositing::byServer)
        paintByServer();
    else if (!usePropertys())
        makeLearned();
    madeFor = compositing;
    isCurrent = true;
    return paint;
}

} // namespace quillet
