#include "media/SerialQueue.h"

#include "geometry/fatal.h"

#include <deque>
#include <map>
#include <mutex>
#include <semaphore>
#include <thread>
#include <utility>
#include <vector>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace quillet {

struct SerialQueue::State {
    std::string label;
    std::thread thread;
    int wakeup = -1;

    std::mutex mutex; // guards tasks, timers, nextTimer and stopping
    std::deque<Task> tasks;
    std::map<std::pair<Clock::time_point, TimerId>, Task> timers;
    TimerId nextTimer = 1;
    bool stopping = false;

    std::map<int, Task> watches; // the queue's thread only

    ~State() {
        if (wakeup >= 0) ::close(wakeup);
    }

    void wake() const {
        const std::uint64_t one = 1;
        // The counter cannot overflow in practice; a full one would wake the thread all the same.
        [[maybe_unused]] const ssize_t written = ::write(wakeup, &one, sizeof one);
    }

    void run();
    Task takeDueTimer();
    Task takeTask();
    bool runDueWork();
    void waitForWork();
};

namespace {

std::string threadName(const std::string& label) {
    // "org.quillet.Quillet.screen" is told apart by its end.
    const std::size_t point = label.rfind('.');
    return ("quillet." + (point == std::string::npos ? label : label.substr(point + 1))).substr(0, 15);
}

} // namespace

SerialQueue::Task SerialQueue::State::takeDueTimer() {
    const std::lock_guard guard(mutex);
    if (stopping || timers.empty() || timers.begin()->first.first > Clock::now()) return nullptr;
    return std::move(timers.extract(timers.begin()).mapped());
}

SerialQueue::Task SerialQueue::State::takeTask() {
    const std::lock_guard guard(mutex);
    if (tasks.empty()) return nullptr;
    Task task = std::move(tasks.front());
    tasks.pop_front();
    return task;
}

/// One timer and one task at most, then it is the descriptors' turn: whoever comes again and again cannot starve the
/// others. False once the queue is to stop and its tasks are done.
bool SerialQueue::State::runDueWork() {
    // What a task holds is let go before the next one starts.
    if (const Task timer = takeDueTimer()) timer();
    if (const Task task = takeTask()) task();
    const std::lock_guard guard(mutex);
    return !stopping || !tasks.empty();
}

void SerialQueue::State::waitForWork() {
    std::vector<pollfd> descriptors{{wakeup, POLLIN, 0}};
    for (const auto& [descriptor, unused] : watches)
        descriptors.push_back({descriptor, POLLIN, 0});

    timespec timeout{};
    const timespec* limit = nullptr;
    {
        const std::lock_guard guard(mutex);
        if (!tasks.empty() || stopping) {
            limit = &timeout;
        } else if (!timers.empty()) {
            const auto left = std::max(timers.begin()->first.first - Clock::now(), Clock::duration::zero());
            const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
            timeout.tv_sec = seconds.count();
            timeout.tv_nsec = static_cast<long>(std::chrono::nanoseconds(left - seconds).count());
            limit = &timeout;
        }
    }
    if (::ppoll(descriptors.data(), descriptors.size(), limit, nullptr) <= 0) return;

    if (descriptors.front().revents) {
        std::uint64_t count;
        [[maybe_unused]] const ssize_t got = ::read(wakeup, &count, sizeof count);
    }
    for (std::size_t i = 1; i < descriptors.size(); ++i) {
        if (!descriptors[i].revents) continue;
        // A handler before this one may have ended the watch.
        const auto found = watches.find(descriptors[i].fd);
        if (found == watches.end()) continue;
        const Task handler = found->second;
        handler();
    }
}

void SerialQueue::State::run() {
    ::pthread_setname_np(::pthread_self(), threadName(label).c_str());
    while (runDueWork())
        waitForWork();
    watches.clear();
    const std::lock_guard guard(mutex);
    timers.clear();
}

SerialQueue::SerialQueue(std::string label) : state(std::make_shared<State>()) {
    state->label = std::move(label);
    state->wakeup = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (state->wakeup < 0) fatal("no descriptor left for a queue's wake-up");
    state->thread = std::thread([shared = state] { shared->run(); });
}

SerialQueue::~SerialQueue() {
    {
        const std::lock_guard guard(state->mutex);
        state->stopping = true;
    }
    state->wake();
    if (isCurrent())
        state->thread.detach();
    else
        state->thread.join();
}

const std::string& SerialQueue::label() const { return state->label; }

void SerialQueue::async(Task task) {
    const std::shared_ptr<State> shared = state; // the task may destroy this queue before this returns
    const bool isAwake = isCurrent();            // its own thread looks before it sleeps
    {
        const std::lock_guard guard(shared->mutex);
        shared->tasks.push_back(std::move(task));
    }
    if (!isAwake) shared->wake();
}

void SerialQueue::sync(const Task& task) {
    if (isCurrent()) {
        task();
        return;
    }
    std::binary_semaphore done(0);
    async([&] {
        task();
        done.release();
    });
    done.acquire();
}

SerialQueue::TimerId SerialQueue::after(Clock::time_point when, Task task) {
    TimerId id;
    const std::shared_ptr<State> shared = state; // as in async
    const bool isAwake = isCurrent();
    {
        const std::lock_guard guard(shared->mutex);
        id = shared->nextTimer++;
        shared->timers.emplace(std::pair(when, id), std::move(task));
    }
    if (!isAwake) shared->wake();
    return id;
}

void SerialQueue::cancel(TimerId timer) {
    Task dropped; // its captures are let go outside the lock
    const std::lock_guard guard(state->mutex);
    for (auto entry = state->timers.begin(); entry != state->timers.end(); ++entry)
        if (entry->first.second == timer) {
            dropped = std::move(entry->second);
            state->timers.erase(entry);
            return;
        }
}

void SerialQueue::watch(int descriptor, Task onReadable) {
    if (!isCurrent()) fatal("a queue's watches belong to its own thread");
    state->watches[descriptor] = std::move(onReadable);
}

void SerialQueue::unwatch(int descriptor) {
    if (!isCurrent()) fatal("a queue's watches belong to its own thread");
    state->watches.erase(descriptor);
}

bool SerialQueue::isCurrent() const { return state->thread.get_id() == std::this_thread::get_id(); }

} // namespace quillet
