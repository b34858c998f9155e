// chooseSources.h: the one place that decides where pictures come from.
#pragma once

#include "pipeline/ScreenSource.h"

namespace quillet {

/// The session's own display, or a synthetic one when the environment variable QUILLET_SOURCES is "synthetic".
/// The program's own windows are not in the display's picture. For that the choice must be made once, after the
/// application object and before the program's first window, and the factory be kept as long as the program runs.
///
/// Threads: main.
[[nodiscard]] ScreenSourceFactory chooseScreenSource();

} // namespace quillet
