// SerialQueue.h: a named thread that runs tasks, timers and descriptor events one at a time.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace quillet {

/// One thread; whatever runs on it never overlaps. Ready descriptors, due timers and tasks take turns, tasks in the
/// order in which they came.
///
/// Threads: async, after, cancel, sync and isCurrent from any; watch and unwatch on the queue only. The destructor
/// stops the thread after the tasks that are already queued (timers that are not due yet and watches are dropped) and
/// waits for it; on the queue's own thread it cannot wait, and the thread ends by itself right after the running task.
class SerialQueue {
public:
    using Task = std::function<void()>;
    using Clock = std::chrono::steady_clock;
    using TimerId = std::uint64_t;

    /// `label` names the queue; the thread carries its last component, as far as the kernel's 15 characters reach.
    explicit SerialQueue(std::string label);
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    [[nodiscard]] const std::string& label() const;

    /// Runs `task` soon, after those queued before it. Never waits; the list is bounded only by its callers' manners.
    void async(Task task);
    /// Runs `task` and waits for its end. On the queue itself it runs at once.
    void sync(const Task& task);

    /// Runs `task` once, not before `when`.
    TimerId after(Clock::time_point when, Task task);
    /// After the return on the queue itself the timer will not fire; from another thread it may be firing just now.
    void cancel(TimerId timer);

    /// Calls `onReadable` whenever `descriptor` can be read or has hung up, until unwatch.
    void watch(int descriptor, Task onReadable);
    void unwatch(int descriptor);

    [[nodiscard]] bool isCurrent() const;

private:
    struct State;
    // Shared with the thread: when the queue is destroyed on its own thread, the thread outlives it for one task.
    std::shared_ptr<State> state;
};

} // namespace quillet
