// ManualMainQueue.h: a main thread's event loop that the test runs itself.
#pragma once

#include "pipeline/MainQueue.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <utility>

namespace quillet::fakes {

/// Tasks wait until the test's own thread runs them.
class ManualMainQueue {
public:
    [[nodiscard]] MainQueue queue() {
        return [this](std::function<void()> task) {
            {
                const std::lock_guard guard(mutex);
                tasks.push_back(std::move(task));
            }
            arrived.notify_all();
        };
    }

    /// Runs tasks as they come until `done` holds; false when it does not within a time that only a failure needs.
    [[nodiscard]] bool runUntil(const std::function<bool()>& done) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!done()) {
            std::function<void()> task;
            {
                std::unique_lock guard(mutex);
                if (!arrived.wait_until(guard, deadline, [&] { return !tasks.empty(); })) return false;
                task = std::move(tasks.front());
                tasks.pop_front();
            }
            task();
        }
        return true;
    }

private:
    std::mutex mutex; // guards tasks
    std::condition_variable arrived;
    std::deque<std::function<void()>> tasks;
};

} // namespace quillet::fakes
