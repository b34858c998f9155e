// RaisePacing.h: how often a window may put itself in front again.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>

namespace quillet {

/// At once when something has risen above, but a program that does the same is not fought: after `burst` raises within
/// `window` the next one waits. Threads: a value.
class RaisePacing {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::size_t burst = 5;
    static constexpr std::chrono::milliseconds window{2000};

    /// How long a raise at `now` has to wait; zero: not at all.
    [[nodiscard]] Clock::duration waitAt(Clock::time_point now) const {
        const Clock::time_point free = raises[oldest] + window;
        return count < burst || free <= now ? Clock::duration::zero() : free - now;
    }

    void raisedAt(Clock::time_point now) {
        raises[oldest] = now;
        oldest = (oldest + 1) % burst;
        if (count < burst) ++count;
    }

private:
    std::array<Clock::time_point, burst> raises{};
    std::size_t oldest = 0;
    std::size_t count = 0;
};

} // namespace quillet
