// FrameCycle.h: a source's picture, changed in place and lent frame by frame without ever changing what is lent.
#pragma once

#include "media/PixelBuffer.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace quillet {

/// One picture in as few buffers as its receiver's habits need: one when it lets each frame go at once, more when it
/// keeps some. Then the picture moves on in another buffer, which is brought up to date with what it has missed.
///
/// Threads: the source's own; lent frames may be let go on any thread, even after the cycle is gone.
class FrameCycle {
public:
    /// The most buffers there will be: a receiver that keeps this many frames gets no new one until it lets one go.
    static constexpr std::size_t capacity = 6;

    /// Gives memory for one frame, or null when it has no more of its kind; the rest are then ordinary ones.
    using Allocator = std::function<PixelBufferRef(int width, int height)>;

    /// A black picture; null if memory is short. Sizes below 1 stop the program.
    [[nodiscard]] static std::unique_ptr<FrameCycle> make(int width, int height, Allocator allocate = {});

    /// The picture, to be changed: nobody holds it. Null when every buffer is lent; nothing is lost then, and the
    /// caller tries again later. Everything changed between this call and lend() must be in lend()'s damage.
    [[nodiscard]] PixelBuffer* writable();

    /// A buffer besides writable()'s, for a picture that is wholly new: nobody holds it, and what it shows is
    /// unspecified. Null when there is none.
    [[nodiscard]] PixelBuffer* spare();
    /// `spare` holds the picture from now on, in place of the buffer that writable() gave. That one holds the picture
    /// before, except in `spoilt`.
    void replaceBy(const PixelBuffer& spare, const PixelRect& spoilt);

    /// The picture as the next frame, numbered and with its damage (absent: everything). After writable() only.
    [[nodiscard]] ConstPixelBufferRef lend(std::optional<PixelRegion> damage);

    /// How often a frame was still held when the picture changed, so that another buffer had to take over.
    [[nodiscard]] std::uint64_t takeovers() const { return takeoverCount; }

private:
    struct Slot {
        PixelBufferRef buffer;
        std::atomic<bool> isLent = false;
        PixelRegion stale; // where the buffer is behind the picture
    };

    [[nodiscard]] static bool isFree(const Slot& slot);
    explicit FrameCycle(Allocator allocator) : allocate(std::move(allocator)) {}
    [[nodiscard]] bool addSlot(int width, int height);

    Allocator allocate;
    // Shared with lent frames, which may outlive the cycle.
    std::vector<std::shared_ptr<Slot>> slots;
    std::size_t current = 0;
    std::uint64_t lastSequence = 0;
    std::uint64_t takeoverCount = 0;
};

} // namespace quillet
