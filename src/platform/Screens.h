// Screens.h: the monitors as they are now.
#pragma once

#include "platform/screenGeometry.h"

namespace quillet {

/// The toolkit's screens, joined with the X server's monitors where there is an X server; elsewhere they are numbered
/// from 1, for the synthetic source.
///
/// Asks the server anew each time (a few round trips on the toolkit's connection); the toolkit's signals (screenAdded,
/// screenRemoved, primaryScreenChanged and each screen's geometryChanged) tell when the answer has changed.
/// Threads: the main thread, while a QGuiApplication lives.
[[nodiscard]] ScreenArrangement currentScreens();

} // namespace quillet
