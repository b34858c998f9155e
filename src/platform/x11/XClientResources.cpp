#include "platform/x11/XClientResources.h"

#include <xcb/xcb.h>

namespace quillet {

XClientResources XClientResources::of(xcb_connection_t* connection) {
    if (!connection || xcb_connection_has_error(connection) != 0) return {};
    const xcb_setup_t* setup = xcb_get_setup(connection);
    return {setup->resource_id_base, setup->resource_id_mask};
}

} // namespace quillet
