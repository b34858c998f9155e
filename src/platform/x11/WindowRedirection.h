// WindowRedirection.h: makes the server keep every window's picture whole, whatever covers it.
#pragma once

#include "platform/x11/XConnection.h"

#include <memory>
#include <string>

namespace quillet {

/// As long as this lives, each top-level window is drawn into memory of its own, from which the server makes the
/// screen; what our windows hide thus exists and can be read.
///
/// It must be made before the program's first window is mapped: what a program has drawn beneath a window that is
/// already there is lost until it paints again. Works beside a compositing manager. Costs the memory of the windows'
/// pictures, nothing else.
/// Threads: made and destroyed on any one thread; nothing runs in between.
class WindowRedirection {
public:
    /// `displayName` is empty for the session's own. Null when the server cannot do it.
    [[nodiscard]] static std::shared_ptr<WindowRedirection> make(const std::string& displayName);

private:
    explicit WindowRedirection(std::unique_ptr<XConnection> connection);
    std::unique_ptr<XConnection> connection; // the redirection ends with it
};

} // namespace quillet
