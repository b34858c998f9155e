// PipeWireTimer.h: something to be done later on a connection's loop.
#pragma once

#include <pipewire/pipewire.h>

#include <chrono>
#include <functional>

namespace quillet {

/// Threads: the loop's, or with the connection's lock held; `onDue` runs on the loop's thread, lock held. It may start
/// or stop its timer, not destroy it.
class PipeWireTimer {
public:
    PipeWireTimer(pw_loop* loop, std::function<void()> onDue);
    ~PipeWireTimer();
    PipeWireTimer(const PipeWireTimer&) = delete;
    PipeWireTimer& operator=(const PipeWireTimer&) = delete;

    /// Once, after `delay`; an earlier start no longer counts.
    void start(std::chrono::nanoseconds delay);
    void stop();

private:
    void set(std::chrono::nanoseconds delay);

    pw_loop* owner;
    std::function<void()> due;
    spa_source* source; // null when the process is out of descriptors: then nothing is ever due
};

} // namespace quillet
