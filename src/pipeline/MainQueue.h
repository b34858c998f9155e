// MainQueue.h: how the pipeline hands a result to the main thread without knowing its event loop.
#pragma once

#include <functional>

namespace quillet {

/// Runs the task on the main thread, later, in the order of the calls. Callable from any thread.
using MainQueue = std::function<void(std::function<void()>)>;

} // namespace quillet
