// XScreenSourceSetup.h: what a screen source must know besides what is to be recorded.
#pragma once

#include "platform/x11/WindowRedirection.h"
#include "platform/x11/XClientResources.h"

#include <memory>
#include <string>
#include <vector>

namespace quillet {

struct XScreenSourceSetup {
    std::string displayName;                       ///< empty for the session's own display
    std::vector<XClientResources> ownClients = {}; ///< the program's own connections: their windows are left out
    /// Made before the program's first window, shared because it lives as long as the program and its recordings. Null:
    /// the source makes one of its own, and what lies beneath windows that are there already comes back as programs
    /// repaint.
    std::shared_ptr<WindowRedirection> redirection = nullptr;
};

} // namespace quillet
