#include "platform/x11/WallpaperGround.h"

#include "platform/x11/regions.h"

#include <xcb/composite.h>
#include <xcb/shape.h>

#include <algorithm>
#include <array>

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
    for (const xcb_atom_t property : properties) {
        constexpr std::uint8_t keep = 0;
        const auto reply = owned(xcb_get_property_reply(
            c, xcb_get_property(c, keep, connection.root(), property, XCB_ATOM_PIXMAP, 0, 1), nullptr));
        if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 4) continue;
        const xcb_pixmap_t named = *static_cast<const xcb_pixmap_t*>(xcb_get_property_value(reply.get()));
        // Its program may be gone, and the pixmap with it.
        const auto geometry = owned(xcb_get_geometry_reply(c, xcb_get_geometry(c, named), nullptr));
        if (!geometry || geometry->depth != connection.rootDepth()) continue;
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
}

bool WallpaperGround::learn(const FetchedPixels& piece, const QRegion& bare) {
    if (source != Source::learned) return false;
    const bool isFirst = learned.knownPart().isEmpty();
    const QRegion news = learned.news(bare & toQRect(piece.rect));
    if (news.isEmpty()) return false;
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
    // What was never seen is expected to look like what was.
    const QRegion unseen = QRegion(0, 0, width, height) - learned.knownPart();
    if (unseen.isEmpty()) return isFirst;
    const std::uint32_t colour = learned.likelyColour();
    xcb_change_gc(c, graphics, XCB_GC_FOREGROUND, &colour);
    std::vector<xcb_rectangle_t> rects;
    for (const QRect& rect : unseen)
        rects.push_back({static_cast<std::int16_t>(rect.x()), static_cast<std::int16_t>(rect.y()),
                         static_cast<std::uint16_t>(rect.width()), static_cast<std::uint16_t>(rect.height())});
    xcb_poly_fill_rectangle(c, pixmap, graphics, static_cast<std::uint32_t>(rects.size()), rects.data());
    return isFirst;
}

xcb_render_picture_t WallpaperGround::picture(Compositing compositing) {
    if (isCurrent && madeFor == compositing) return paint;
    release();
    if (!readRootSize()) return 0;
    if (compositing == Compositing::byServer)
        paintByServer();
    else if (!usePropertys())
        makeLearned();
    madeFor = compositing;
    isCurrent = true;
    return paint;
}

} // namespace quillet
