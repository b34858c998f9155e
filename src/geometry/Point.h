// Point.h: a place, in whatever space its holder names.
#pragma once

namespace quillet {

struct Point {
    double x = 0;
    double y = 0;

    friend bool operator==(const Point&, const Point&) = default;
};

} // namespace quillet
