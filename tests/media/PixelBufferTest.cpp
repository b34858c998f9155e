#include "media/PixelBuffer.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

namespace quillet {
namespace {

TEST(PixelBuffer, hasAlignedRowsOfAtLeastItsWidth) {
    for (const int width : {1, 15, 16, 17, 1281}) {
        const PixelBufferRef buffer = PixelBuffer::make(width, 3);
        ASSERT_TRUE(buffer);
        EXPECT_EQ(buffer->width(), width);
        EXPECT_EQ(buffer->height(), 3);
        EXPECT_GE(buffer->strideBytes(), static_cast<std::size_t>(width) * 4);
        EXPECT_EQ(buffer->strideBytes() % 64, 0u);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer->row(0)) % 64, 0u);
        EXPECT_EQ(buffer->row(2) - buffer->row(0), static_cast<std::ptrdiff_t>(2 * buffer->strideBytes()));
        // The promised bytes past the last row are there (an address sanitizer looks).
        std::memset(buffer->row(0), 0xab, buffer->strideBytes() * 3 + 64);
    }
}

TEST(PixelBuffer, releasesWrappedMemoryOnce) {
    alignas(64) std::array<std::byte, 256> memory{};
    int releases = 0;
    {
        const ConstPixelBufferRef buffer = PixelBuffer::wrap(memory.data(), 64, 16, 3, [&] { ++releases; });
        const ConstPixelBufferRef second = buffer;
        EXPECT_EQ(buffer->row(1), memory.data() + 64);
        EXPECT_EQ(releases, 0);
    }
    EXPECT_EQ(releases, 1);
}

TEST(PixelBuffer, answersNullWhenMemoryIsShort) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer ends the program at impossible sizes";
#else
    EXPECT_EQ(PixelBuffer::make(2'000'000'000, 2'000'000'000), nullptr);
#endif
}

TEST(PixelBufferDeathTest, impossibleShapesAreBugs) {
    alignas(64) std::array<std::byte, 256> memory{};
    EXPECT_DEATH((void)PixelBuffer::make(0, 1), "without pixels");
    EXPECT_DEATH((void)PixelBuffer::wrap(memory.data(), 60, 15, 1, {}), "rows are not aligned");
    EXPECT_DEATH((void)PixelBuffer::wrap(memory.data(), 64, 17, 1, {}), "rows are not aligned");
    EXPECT_DEATH((void)PixelBuffer::wrap(memory.data() + 4, 64, 1, 1, {}), "memory is not aligned");
}

} // namespace
} // namespace quillet
