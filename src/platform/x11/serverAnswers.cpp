#include "platform/x11/serverAnswers.h"

#include <xcb/xcb.h>

namespace quillet::x11 {

bool serverAnswers() {
    xcb_connection_t* const connection = xcb_connect(nullptr, nullptr);
    const bool answers = xcb_connection_has_error(connection) == 0;
    xcb_disconnect(connection);
    return answers;
}

} // namespace quillet::x11
