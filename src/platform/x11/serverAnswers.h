// serverAnswers.h: is there an X server at the other end of DISPLAY?
#pragma once

namespace quillet::x11 {

/// Connects and disconnects. Threads: any.
[[nodiscard]] bool serverAnswers();

} // namespace quillet::x11
