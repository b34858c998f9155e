#include "media/SerialQueue.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <pthread.h>
#include <unistd.h>

namespace quillet {
namespace {

/// Only a limit for failure: nothing waits this long when all is well.
constexpr std::chrono::seconds patience{20};

TEST(SerialQueue, runsTasksInOrderOnOneNamedThread) {
    std::vector<int> order;
    std::string name;
    {
        SerialQueue queue("org.example.Program.screen");
        EXPECT_EQ(queue.label(), "org.example.Program.screen");
        EXPECT_FALSE(queue.isCurrent());
        for (int i = 0; i < 100; ++i)
            queue.async([&order, i] { order.push_back(i); });
        queue.async([&] {
            std::array<char, 16> text{};
            ::pthread_getname_np(::pthread_self(), text.data(), text.size());
            name = text.data();
            EXPECT_TRUE(queue.isCurrent());
        });
    } // what was queued has run
    ASSERT_EQ(order.size(), 100u);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
    EXPECT_EQ(name, "quillet.screen");
}

TEST(SerialQueue, syncWaitsAndRunsAtOnceOnItself) {
    SerialQueue queue("q.test");
    int value = 0;
    queue.sync([&] {
        queue.sync([&] { value = 1; });
        EXPECT_EQ(value, 1);
    });
    EXPECT_EQ(value, 1);
}

TEST(SerialQueue, timersFireInTheOrderOfTheirTimesAndNotBefore) {
    SerialQueue queue("q.test");
    const auto start = SerialQueue::Clock::now();
    std::vector<int> order;
    std::promise<void> done;
    queue.after(start + std::chrono::milliseconds(30), [&] {
        order.push_back(2);
        EXPECT_GE(SerialQueue::Clock::now(), start + std::chrono::milliseconds(30));
        done.set_value();
    });
    queue.after(start + std::chrono::milliseconds(10), [&] { order.push_back(1); });
    ASSERT_EQ(done.get_future().wait_for(patience), std::future_status::ready);
    queue.sync([&] { EXPECT_EQ(order, (std::vector<int>{1, 2})); });
}

TEST(SerialQueue, aCancelledTimerLetsGoOfWhatItHeldAndStaysSilent) {
    SerialQueue queue("q.test");
    auto held = std::make_shared<int>(1);
    bool fired = false;
    const auto timer = queue.after(SerialQueue::Clock::now() + std::chrono::hours(1), [&fired, held] { fired = true; });
    queue.cancel(timer);
    EXPECT_EQ(held.use_count(), 1);
    queue.sync([] {});
    EXPECT_FALSE(fired);
}

TEST(SerialQueue, aTimerThatIsAlwaysDueStarvesNoTask) {
    SerialQueue queue("q.test");
    std::function<void()> again = [&] { queue.after(SerialQueue::Clock::now(), again); };
    queue.sync([&] { again(); });
    std::promise<void> ran;
    queue.async([&] { ran.set_value(); });
    EXPECT_EQ(ran.get_future().wait_for(patience), std::future_status::ready);
    queue.sync([&] { again = [] {}; });
}

TEST(SerialQueue, watchesDescriptorsUntilToldNotTo) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    std::atomic<int> seen = 0;
    std::promise<void> second;
    {
        SerialQueue queue("q.test");
        queue.sync([&] {
            queue.watch(ends[0], [&] {
                char byte;
                ASSERT_EQ(::read(ends[0], &byte, 1), 1);
                if (++seen == 2) {
                    queue.unwatch(ends[0]);
                    second.set_value();
                }
            });
        });
        // A busy queue of tasks does not starve the descriptor.
        std::atomic<bool> stop = false;
        std::function<void()> again = [&] {
            if (!stop) queue.async(again);
        };
        queue.async(again);
        ASSERT_EQ(::write(ends[1], "abc", 3), 3);
        EXPECT_EQ(second.get_future().wait_for(patience), std::future_status::ready);
        stop = true;
        queue.sync([] {});
        EXPECT_EQ(seen, 2) << "the third byte came after unwatch";
    }
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(SerialQueue, mayBeDestroyedByItsOwnTask) {
    auto queue = std::make_unique<SerialQueue>("q.test");
    SerialQueue* const raw = queue.get();
    std::promise<void> after;
    raw->async([&, owned = std::make_shared<std::unique_ptr<SerialQueue>>(std::move(queue))] {
        raw->async([&] { after.set_value(); });
        owned->reset();
    });
    EXPECT_EQ(after.get_future().wait_for(patience), std::future_status::ready) << "a task queued before still ran";
}

TEST(SerialQueueDeathTest, watchesBelongToTheQueuesThread) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            SerialQueue queue("q.test");
            queue.watch(0, [] {});
        },
        "own thread");
}

} // namespace
} // namespace quillet
