#include "platform/x11/RebuiltGround.h"

#include <vector>

namespace quillet {

namespace {

constexpr std::uint32_t opaque = 0xffffffffU;

/// Opacity as picom and xcompmgr count it: 255 levels, fractions dropped.
std::uint32_t levelOf(std::uint32_t opacity) {
    return static_cast<std::uint32_t>(static_cast<double>(opacity) / opaque * 255);
}

std::int16_t shortened(int value) { return static_cast<std::int16_t>(value); }
std::uint16_t shortenedSize(int value) { return static_cast<std::uint16_t>(value); }

} // namespace

RebuiltGround::RebuiltGround(const XConnection& server, const PictureFormats& pictureFormats, const PixelRect& area)
    : connection(server), formats(pictureFormats), place(area) {
    xcb_connection_t* const c = connection.xcb();
    pixmap = xcb_generate_id(c);
    xcb_create_pixmap(c, connection.rootDepth(), pixmap, connection.root(), shortenedSize(area.width),
                      shortenedSize(area.height));
    target = xcb_generate_id(c);
    xcb_render_create_picture(c, target, pixmap, formats.ofVisual(connection.rootVisual()), 0, nullptr);
}

RebuiltGround::~RebuiltGround() {
    xcb_connection_t* const c = connection.xcb();
    if (mask) xcb_render_free_picture(c, mask);
    xcb_render_free_picture(c, target);
    xcb_free_pixmap(c, pixmap);
}

void RebuiltGround::clipTo(const QRegion& region) {
    std::vector<xcb_rectangle_t> rects;
    rects.reserve(static_cast<std::size_t>(region.rectCount()));
    for (const QRect& rect : region)
        rects.push_back({shortened(rect.x() - place.x), shortened(rect.y() - place.y), shortenedSize(rect.width()),
                         shortenedSize(rect.height())});
    xcb_render_set_picture_clip_rectangles(connection.xcb(), target, 0, 0, static_cast<std::uint32_t>(rects.size()),
                                           rects.data());
}

xcb_render_picture_t RebuiltGround::maskOf(std::uint32_t opacity) {
    const std::uint32_t level = levelOf(opacity);
    if (mask && level == maskLevel) return mask;
    xcb_connection_t* const c = connection.xcb();
    if (mask) xcb_render_free_picture(c, mask);
    mask = xcb_generate_id(c);
    constexpr std::uint32_t byteToShort = 0x101;
    xcb_render_create_solid_fill(c, mask, {0, 0, 0, static_cast<std::uint16_t>(level * byteToShort)});
    maskLevel = level;
    return mask;
}

void RebuiltGround::draw(const GroundPlan& plan, const Sources& sources) {
    xcb_connection_t* const c = connection.xcb();
    const auto compose = [&](std::uint8_t operation, xcb_render_picture_t source, xcb_render_picture_t through,
                             const QRegion& clip, int originX, int originY) {
        clipTo(clip);
        const QRect bounds = clip.boundingRect();
        xcb_render_composite(c, operation, source, through, target, shortened(bounds.x() - originX),
                             shortened(bounds.y() - originY), 0, 0, shortened(bounds.x() - place.x),
                             shortened(bounds.y() - place.y), shortenedSize(bounds.width()),
                             shortenedSize(bounds.height()));
    };
    if (!plan.background.isEmpty() && sources.background)
        compose(XCB_RENDER_PICT_OP_SRC, sources.background, XCB_RENDER_PICTURE_NONE, plan.background, 0, 0);
    for (const GroundLayer& layer : plan.layers) {
        const StackedWindow& window = *sources.stack.find(layer.window);
        const xcb_render_picture_t picture = sources.windows.pictureOf(window);
        if (!picture) continue;
        const bool isThin = !layer.isOpaque && window.opacity != opaque;
        compose(layer.isOpaque ? XCB_RENDER_PICT_OP_SRC : XCB_RENDER_PICT_OP_OVER, picture,
                isThin ? maskOf(window.opacity) : xcb_render_picture_t{XCB_RENDER_PICTURE_NONE}, layer.clip,
                window.outer.x, window.outer.y);
    }
}

} // namespace quillet
