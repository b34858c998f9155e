#include "geometry/Size.h"

#include "geometry/fatal.h"

#include <cmath>
#include <string>

namespace quillet {

std::int64_t truncated(double value, const char* what) {
    // 2^63 is exact in a double; the largest signed 64-bit number is not, so the upper bound is exclusive.
    constexpr double limit = 9223372036854775808.0;
    if (!std::isfinite(value) || value >= limit || value < -limit)
        fatal(std::string(what) + " is not a finite signed 64-bit number");
    return static_cast<std::int64_t>(value);
}

} // namespace quillet
