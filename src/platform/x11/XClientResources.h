// XClientResources.h: which windows of a server belong to one of its clients.
#pragma once

#include <cstdint>

struct xcb_connection_t;

namespace quillet {

/// The numbers that an X server has given to one connection for whatever it makes. They tell without fail whose a
/// window is; the process numbers that windows claim in their properties tell nothing.
struct XClientResources {
    std::uint32_t base = 0;
    std::uint32_t mask = 0; ///< the bits that the client counts in; 0: no client at all

    /// Of a running connection. Null gives no client. Threads: any.
    [[nodiscard]] static XClientResources of(xcb_connection_t* connection);

    [[nodiscard]] bool owns(std::uint32_t id) const { return mask != 0 && (id & ~mask) == base; }

    friend bool operator==(const XClientResources&, const XClientResources&) = default;
};

} // namespace quillet
