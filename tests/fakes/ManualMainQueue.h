// ManualMainQueue.h: a main thread's event loop that the test runs itself.
#pragma once

#include "pipeline/MainQueue.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace quillet::fakes {

/// Tasks wait until the test's own thread runs them. What other threads hand over after the test's end goes nowhere.
class ManualMainQueue {
public:
    [[nodiscard]] MainQueue queue() {
        return [shared = state](std::function<void()> task) {
            const std::lock_guard guard(shared->mutex);
            if (!shared->isOver) shared->tasks.push_back(std::move(task));
            shared->arrived.notify_all();
        };
    }
    ManualMainQueue() = default;
    ~ManualMainQueue() {
        std::deque<std::function<void()>> left; // let go outside the lock: they may hand over more
        const std::lock_guard guard(state->mutex);
        state->isOver = true;
        left.swap(state->tasks);
    }
    ManualMainQueue(const ManualMainQueue&) = delete;
    ManualMainQueue& operator=(const ManualMainQueue&) = delete;

    /// Runs tasks as they come until `done` holds; false when it does not within a time that only a failure needs.
    [[nodiscard]] bool runUntil(const std::function<bool()>& done) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!done()) {
            std::function<void()> task;
            {
                std::unique_lock guard(state->mutex);
                if (!state->arrived.wait_until(guard, deadline, [&] { return !state->tasks.empty(); })) return false;
                task = std::move(state->tasks.front());
                state->tasks.pop_front();
            }
            task();
        }
        return true;
    }

private:
    struct State {
        std::mutex mutex; // guards the rest
        std::condition_variable arrived;
        std::deque<std::function<void()>> tasks;
        bool isOver = false;
    };
    // Shared with other threads, which may finish their work after the test.
    std::shared_ptr<State> state = std::make_shared<State>();
};

} // namespace quillet::fakes
