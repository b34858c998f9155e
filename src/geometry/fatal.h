// fatal.h: the one way in which a bug stops the program.
#pragma once

#include <string_view>

namespace quillet {

/// Writes "quillet: fatal: `what`" to standard error and aborts. For conditions that only a bug can cause; the outside
/// world failing is answered with a value instead.
///
/// Threads: any.
[[noreturn]] void fatal(std::string_view what);

} // namespace quillet
