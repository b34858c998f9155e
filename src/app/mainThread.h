// mainThread.h: the pipeline's main queue on top of Qt's event loop.
#pragma once

#include "pipeline/MainQueue.h"

namespace quillet {

/// Tasks run on the main thread's event loop, in order. Without the application object they are
/// dropped. Threads: any.
[[nodiscard]] MainQueue qtMainQueue();

} // namespace quillet
