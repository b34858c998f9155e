// paced.h: doing something many times at an even pace, as a hand on a mouse or an animation does.
#pragma once

#include <chrono>
#include <thread>

namespace quillet::testing {

struct Pace {
    int perSecond = 60;
    std::chrono::milliseconds duration{1000};
};

/// Calls `step(0)`, `step(1)`, …; on a machine that cannot keep up the steps come as fast as they can, none is left
/// out.
template <typename Step>
void paced(const Pace& pace, Step step) {
    const auto begin = std::chrono::steady_clock::now();
    const int steps = static_cast<int>(pace.perSecond * pace.duration.count() / 1000);
    for (int number = 0; number < steps; ++number) {
        std::this_thread::sleep_until(begin + std::chrono::nanoseconds(1'000'000'000LL * number / pace.perSecond));
        step(number);
    }
}

/// Goes up to `span` and back again, in steps of `stride`: 0, stride, …, span, …, stride, 0, …
[[nodiscard]] inline int backAndForth(int number, int span, int stride) {
    const int place = number * stride % (2 * span);
    return place < span ? place : 2 * span - place;
}

} // namespace quillet::testing
