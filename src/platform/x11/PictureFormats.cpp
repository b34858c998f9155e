#include "platform/x11/PictureFormats.h"

namespace quillet {

PictureFormats::PictureFormats(const XConnection& connection) {
    xcb_connection_t* const c = connection.xcb();
    const auto reply = owned(xcb_render_query_pict_formats_reply(c, xcb_render_query_pict_formats(c), nullptr));
    if (!reply) return;
    for (auto screen = xcb_render_query_pict_formats_screens_iterator(reply.get()); screen.rem;
         xcb_render_pictscreen_next(&screen))
        for (auto depth = xcb_render_pictscreen_depths_iterator(screen.data); depth.rem;
             xcb_render_pictdepth_next(&depth))
            for (auto visual = xcb_render_pictdepth_visuals_iterator(depth.data); visual.rem;
                 xcb_render_pictvisual_next(&visual))
                formats.emplace(visual.data->visual, visual.data->format);
    constexpr std::uint16_t wholeByte = 0xff;
    for (auto each = xcb_render_query_pict_formats_formats_iterator(reply.get()); each.rem;
         xcb_render_pictforminfo_next(&each)) {
        const xcb_render_pictforminfo_t& format = *each.data;
        if (format.type == XCB_RENDER_PICT_TYPE_DIRECT && format.depth == 8 && format.direct.alpha_mask == wholeByte)
            alphaOnly = format.id;
    }
}

xcb_render_pictformat_t PictureFormats::ofVisual(std::uint32_t visual) const {
    const auto found = formats.find(visual);
    return found == formats.end() ? 0 : found->second;
}

} // namespace quillet
