// Error.h: why something could not be done, in words that the user may read.
#pragma once

#include <string>

namespace quillet {

struct Error {
    std::string domain; ///< whose error: "Quillet", "errno", "x264", …
    int code = 0;       ///< the domain's number
    std::string description;

    friend bool operator==(const Error&, const Error&) = default;
};

/// The system's error `number` (an errno value), with what was being done: "`action`: No space left on device".
[[nodiscard]] Error systemError(const std::string& action, int number);

} // namespace quillet
