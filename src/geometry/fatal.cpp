#include "geometry/fatal.h"

#include <cstdio>
#include <cstdlib>

namespace quillet {

void fatal(std::string_view what) {
    std::fprintf(stderr, "quillet: fatal: %.*s\n", static_cast<int>(what.size()), what.data());
    std::fflush(stderr);
    std::abort();
}

} // namespace quillet
