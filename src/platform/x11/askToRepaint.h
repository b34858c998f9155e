// askToRepaint.h: makes a program draw again what was hidden when it drew.
#pragma once

#include "platform/x11/WindowStack.h"
#include "platform/x11/XConnection.h"

#include <QRegion>

namespace quillet {

/// Clears `part` of a window, counted from its corner, and of the windows inside it to their backgrounds, and lets its
/// program know that it must paint there. Two round trips; the windows may be gone meanwhile. Threads: the
/// connection's.
void askToRepaint(const XConnection& connection, const StackedWindow& window, const QRegion& part);

} // namespace quillet
