#include "tools/TickTimer.h"

#include <algorithm>
#include <utility>

namespace quillet {

TickTimer::TickTimer(std::chrono::nanoseconds stepLength, std::function<void()> onTick)
    : step(stepLength), tick(std::move(onTick)) {
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &timer, [this] { fire(); });
}

void TickTimer::start() {
    if (running) return;
    running = true;
    const Clock::time_point now = Clock::now();
    next = now + step;
    schedule(now);
}

void TickTimer::stop() {
    running = false;
    timer.stop();
}

void TickTimer::fire() {
    const Clock::time_point now = Clock::now();
    // Whole milliseconds may end a little before the step does.
    if (now + std::chrono::milliseconds(1) <= next) return schedule(now);
    const auto missed = std::max<std::int64_t>(0, (now - next) / step);
    next += step * (missed + 1);
    tick();
    if (running) schedule(Clock::now());
}

void TickTimer::schedule(Clock::time_point now) {
    timer.start(std::chrono::duration_cast<std::chrono::milliseconds>(std::max(next - now, Clock::duration::zero())));
}

} // namespace quillet
