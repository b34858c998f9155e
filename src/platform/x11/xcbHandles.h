// xcbHandles.h: owners for what libxcb hands out.
#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace quillet {

struct XcbDisconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
using XcbConnectionHandle = std::unique_ptr<xcb_connection_t, XcbDisconnect>;

struct XcbFree {
    void operator()(void* memory) const { std::free(memory); } // NOLINT: libxcb allocates with malloc
};
/// A reply, an event or an error.
template <typename T>
using XcbOwned = std::unique_ptr<T, XcbFree>;

template <typename T>
[[nodiscard]] XcbOwned<T> owned(T* fromXcb) {
    return XcbOwned<T>(fromXcb);
}

} // namespace quillet
