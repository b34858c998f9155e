#include "platform/displayProblem.h"

#include "platform/x11/serverAnswers.h"

#include <cstdlib>
#include <string_view>

namespace quillet {

namespace {

std::string_view variable(const char* name) {
    const char* const value = std::getenv(name);
    return value ? value : "";
}

} // namespace

std::string displayProblem() {
    // Whoever names a platform plug-in knows what they are doing.
    if (!variable("QT_QPA_PLATFORM").empty()) return {};

    const std::string_view display = variable("DISPLAY");
    if (display.empty())
        return variable("WAYLAND_DISPLAY").empty()
                   ? "no display: DISPLAY is not set"
                   : "Wayland sessions are not yet supported, and this one offers no X server (DISPLAY is not set)";
    if (!x11::serverAnswers()) return "the X server at DISPLAY=" + std::string(display) + " does not answer";
    ::setenv("QT_QPA_PLATFORM", "xcb", 1);
    return {};
}

} // namespace quillet
