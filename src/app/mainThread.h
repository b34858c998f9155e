// mainThread.h: the pipeline's main queue on top of Qt's event loop.
#pragma once

#include "pipeline/MainQueue.h"

namespace quillet {

/// Tasks run on the main thread's event loop, in order. Threads: any, as long as the application object exists.
[[nodiscard]] MainQueue qtMainQueue();

} // namespace quillet
