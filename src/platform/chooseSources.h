// chooseSources.h: the one place that decides where pictures come from.
#pragma once

#include "pipeline/ScreenSource.h"

namespace quillet {

/// The session's own display, or a synthetic one when the environment variable QUILLET_SOURCES is "synthetic".
///
/// Threads: any, as long as nobody changes the environment.
[[nodiscard]] ScreenSourceFactory chooseScreenSource();

} // namespace quillet
