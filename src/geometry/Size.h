// Size.h: an extent, in whatever unit its holder names.
#pragma once

#include <cstdint>

namespace quillet {

struct Size {
    double width = 0;
    double height = 0;

    friend bool operator==(const Size&, const Size&) = default;
};

/// `value` without its fraction (towards zero). A value that is not finite or lies outside the signed 64-bit range
/// stops the program and names `what`: sizes come from screens, so only a bug produces one.
[[nodiscard]] std::int64_t truncated(double value, const char* what);

} // namespace quillet
