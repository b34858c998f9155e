// TickTimer.h: a steady number of ticks a second on the main thread.
#pragma once

#include <QTimer>

#include <chrono>
#include <functional>

namespace quillet {

/// Ticks on a grid of equal steps, which a timer of whole milliseconds would miss by several percent. A tick that comes
/// late does not shift the following ones; steps that were missed altogether are left out.
///
/// Threads: main.
class TickTimer {
public:
    TickTimer(std::chrono::nanoseconds stepLength, std::function<void()> onTick);

    /// The first tick comes one step later. Starting twice changes nothing.
    void start();
    /// May be called from within a tick.
    void stop();
    [[nodiscard]] bool isRunning() const { return running; }

private:
    using Clock = std::chrono::steady_clock;
    void fire();
    void schedule(Clock::time_point now);

    const std::chrono::nanoseconds step;
    const std::function<void()> tick;
    QTimer timer;
    Clock::time_point next;
    bool running = false;
};

} // namespace quillet
