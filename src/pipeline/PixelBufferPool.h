// PixelBufferPool.h: recycled frame memory, so that a steady recording allocates nothing.
#pragma once

#include "geometry/Size.h"
#include "media/PixelBuffer.h"

#include <memory>

namespace quillet {

/// Lends frames of one fixed size; a frame comes back when its last holder lets go.
///
/// Threads: acquire() on the owner's thread. A frame may be let go on any thread, even after the pool is gone.
class PixelBufferPool {
public:
    /// Frames out at once before acquire() answers null: the writer's queue, the frame being encoded, the frame being
    /// drawn, and one to spare.
    static constexpr std::size_t capacity = 8;

    /// `size` in pixels, fractions dropped; null if memory is short. A size that is not finite stops the program.
    [[nodiscard]] static std::unique_ptr<PixelBufferPool> make(Size size);
    ~PixelBufferPool();

    /// A frame of unspecified content, or null when all are lent: the caller drops its picture. Never waits. The frame
    /// keeps its `drawnContent` from its last loan; `damage` and `sequence` are cleared. Frames that came back last are
    /// lent first: they are still in the cache and differ least from what is drawn next.
    [[nodiscard]] PixelBufferRef acquire();

    [[nodiscard]] Size size() const;

private:
    struct Shelf;
    explicit PixelBufferPool(std::shared_ptr<Shelf> shelf);
    // Shared with every lent frame, which may come back after the pool is gone.
    std::shared_ptr<Shelf> shelf;
};

} // namespace quillet
