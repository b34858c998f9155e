#include "platform/pipewire/PipeWireTimer.h"

#include "platform/pipewire/pipewireCalls.h"

#include <algorithm>
#include <ctime>
#include <utility>

namespace quillet {

PipeWireTimer::PipeWireTimer(pw_loop* loop, std::function<void()> onDue)
    : owner(loop), due(std::move(onDue)),
      source(addTimer(
          loop, [](void* self, std::uint64_t) { static_cast<PipeWireTimer*>(self)->due(); }, this)) {}

PipeWireTimer::~PipeWireTimer() {
    if (source) removeSource(owner, source);
}

void PipeWireTimer::start(std::chrono::nanoseconds delay) {
    set(std::max(delay, std::chrono::nanoseconds(1))); // zero would mean never
}

void PipeWireTimer::stop() { set(std::chrono::nanoseconds(0)); }

void PipeWireTimer::set(std::chrono::nanoseconds delay) {
    timespec when{};
    when.tv_sec = static_cast<std::time_t>(delay.count() / 1'000'000'000);
    when.tv_nsec = static_cast<long>(delay.count() % 1'000'000'000);
    if (source) setTimer(owner, source, when);
}

} // namespace quillet
