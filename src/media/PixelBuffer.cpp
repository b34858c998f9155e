#include "media/PixelBuffer.h"

#include "geometry/fatal.h"

#include <new>
#include <utility>

namespace quillet {

PixelBuffer::PixelBuffer(std::byte* memory, std::size_t strideBytes, int width, int height, std::function<void()> free)
    : base(memory), rowBytes(strideBytes), columns(width), rows(height), release(std::move(free)) {}

PixelBuffer::~PixelBuffer() {
    if (release) release();
}

PixelBufferRef PixelBuffer::make(int width, int height) {
    if (width < 1 || height < 1) fatal("a pixel buffer without pixels");
    constexpr std::align_val_t alignment{rowAlignmentBytes};
    const std::size_t stride =
        (static_cast<std::size_t>(width) * 4 + rowAlignmentBytes - 1) / rowAlignmentBytes * rowAlignmentBytes;
    const std::size_t bytes = stride * static_cast<std::size_t>(height) + rowAlignmentBytes;
    auto* memory = static_cast<std::byte*>(::operator new(bytes, alignment, std::nothrow));
    if (!memory) return nullptr;
    return wrap(memory, stride, width, height, [memory] { ::operator delete(memory, alignment); });
}

PixelBufferRef PixelBuffer::wrap(std::byte* base, std::size_t strideBytes, int width, int height,
                                 std::function<void()> release) {
    if (width < 1 || height < 1) fatal("a pixel buffer without pixels");
    if (strideBytes % rowAlignmentBytes != 0 || strideBytes < static_cast<std::size_t>(width) * 4)
        fatal("a pixel buffer's rows are not aligned");
    if (reinterpret_cast<std::uintptr_t>(base) % rowAlignmentBytes != 0)
        fatal("a pixel buffer's memory is not aligned");
    return PixelBufferRef(new PixelBuffer(base, strideBytes, width, height, std::move(release)));
}

} // namespace quillet
