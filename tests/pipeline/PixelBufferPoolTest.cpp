#include "pipeline/PixelBufferPool.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <set>
#include <thread>
#include <vector>

namespace quillet {
namespace {

TEST(PixelBufferPool, lendsFramesOfItsSizeWithoutFractions) {
    const auto pool = PixelBufferPool::make({101.9, 57.2});
    ASSERT_TRUE(pool);
    EXPECT_EQ(pool->size(), (Size{101.9, 57.2}));
    const PixelBufferRef frame = pool->acquire();
    EXPECT_EQ(frame->bounds(), (PixelRect{0, 0, 101, 57}));
    EXPECT_EQ(PixelBufferPool::make({1920, 1080})->acquire()->bounds(), (PixelRect{0, 0, 1920, 1080}));
}

TEST(PixelBufferPool, answersNullWhenAllAreLentAndLendsAgainWhenOneIsBack) {
    const auto pool = PixelBufferPool::make({16, 8});
    std::vector<PixelBufferRef> frames;
    std::set<const PixelBuffer*> distinct;
    for (std::size_t i = 0; i < PixelBufferPool::capacity; ++i) {
        frames.push_back(pool->acquire());
        ASSERT_TRUE(frames.back());
        distinct.insert(frames.back().get());
    }
    EXPECT_EQ(distinct.size(), PixelBufferPool::capacity);
    EXPECT_FALSE(pool->acquire());
    const PixelBuffer* back = frames[3].get();
    frames[3].reset();
    EXPECT_EQ(pool->acquire().get(), back);
}

TEST(PixelBufferPool, lendsTheFrameThatCameBackLast) {
    const auto pool = PixelBufferPool::make({16, 8});
    PixelBufferRef first = pool->acquire();
    PixelBufferRef second = pool->acquire();
    const PixelBuffer* earlier = first.get();
    const PixelBuffer* later = second.get();
    first.reset();
    second.reset();
    const PixelBufferRef again = pool->acquire();
    EXPECT_EQ(again.get(), later);
    EXPECT_EQ(pool->acquire().get(), earlier);
}

TEST(PixelBufferPool, keepsAFrameLentUntilItsLastHolderLetsGo) {
    const auto pool = PixelBufferPool::make({16, 8});
    PixelBufferRef one = pool->acquire();
    const PixelBuffer* frame = one.get();
    ConstPixelBufferRef other = one;
    one.reset();
    const PixelBufferRef next = pool->acquire();
    EXPECT_NE(next.get(), frame);
    other.reset();
    EXPECT_EQ(pool->acquire().get(), frame);
}

TEST(PixelBufferPool, clearsWhatALoanSaidButKeepsWhatTheFrameHolds) {
    const auto pool = PixelBufferPool::make({16, 8});
    const auto content = std::make_shared<int>(7);
    PixelBufferRef frame = pool->acquire();
    frame->drawnContent = content;
    frame->sequence = 12;
    frame->damage.emplace();
    frame->alpha = Alpha::ignored;
    std::memset(frame->row(7), 0x5A, 64);
    frame.reset();
    frame = pool->acquire();
    EXPECT_EQ(frame->drawnContent, content);
    EXPECT_EQ(frame->sequence, 0U);
    EXPECT_FALSE(frame->damage);
    EXPECT_EQ(frame->alpha, Alpha::premultiplied);
    EXPECT_EQ(frame->row(7)[63], std::byte{0x5A});
}

TEST(PixelBufferPool, leavesLentFramesAliveWhenItIsGone) {
    auto pool = PixelBufferPool::make({16, 8});
    PixelBufferRef frame = pool->acquire();
    const std::weak_ptr<PixelBuffer> watched = frame;
    pool.reset();
    std::memset(frame->row(0), 1, 64);
    EXPECT_EQ(frame->row(0)[63], std::byte{1});
    frame.reset();
    EXPECT_TRUE(watched.expired());
}

TEST(PixelBufferPool, takesBackAFrameThatIsStillWatched) {
    const auto pool = PixelBufferPool::make({16, 8});
    std::vector<std::weak_ptr<PixelBuffer>> watchers;
    const PixelBuffer* frame = pool->acquire().get();
    for (int i = 0; i < 100; ++i) {
        const PixelBufferRef again = pool->acquire();
        EXPECT_EQ(again.get(), frame);
        watchers.emplace_back(again);
    }
}

TEST(PixelBufferPool, takesFramesBackFromAnyThread) {
    const auto pool = PixelBufferPool::make({16, 8});
    std::vector<std::thread> holders;
    for (int round = 0; round < 500; ++round) {
        PixelBufferRef frame = pool->acquire();
        if (!frame) { // all are with the other threads
            holders.front().join();
            holders.erase(holders.begin());
            --round;
            continue;
        }
        std::memset(frame->row(0), round % 256, 64);
        holders.emplace_back(
            [held = std::move(frame), round] { EXPECT_EQ(held->row(0)[5], static_cast<std::byte>(round % 256)); });
    }
    for (std::thread& holder : holders)
        holder.join();
    std::vector<PixelBufferRef> all;
    while (PixelBufferRef frame = pool->acquire())
        all.push_back(frame);
    EXPECT_EQ(all.size(), PixelBufferPool::capacity);
}

TEST(PixelBufferPool, cannotBeMadeWithoutPixelsOrBeyondMemory) {
    EXPECT_FALSE(PixelBufferPool::make({0.9, 8}));
    EXPECT_FALSE(PixelBufferPool::make({8, -3}));
    EXPECT_FALSE(PixelBufferPool::make({1e12, 8}));
    EXPECT_FALSE(PixelBufferPool::make({1e9, 1e9}));
}

TEST(PixelBufferPoolDeathTest, stopsForASizeThatIsNoNumber) {
    EXPECT_DEATH(static_cast<void>(PixelBufferPool::make({std::nan(""), 8})), "width");
    EXPECT_DEATH(static_cast<void>(PixelBufferPool::make({8, std::numeric_limits<double>::infinity()})), "height");
    EXPECT_DEATH(static_cast<void>(PixelBufferPool::make({8, 1e19})), "height");
}

} // namespace
} // namespace quillet
