// displayProblem.h: whether windows can be opened here at all.
#pragma once

#include <string>

namespace quillet {

/// Empty when the toolkit will find a window system, else a line that tells the user what is missing. To be asked
/// before the application object is made; settles on X11 where both window systems are offered. Threads: main.
[[nodiscard]] std::string displayProblem();

} // namespace quillet
