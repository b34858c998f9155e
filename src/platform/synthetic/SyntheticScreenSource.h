// SyntheticScreenSource.h: a screen whose every pixel is a formula, for tests and for machines without a display.
#pragma once

#include "media/PixelRect.h"
#include "pipeline/ScreenSource.h"
#include "platform/FrameCycle.h"
#include "platform/FramePacing.h"

#include <cstdint>
#include <memory>

namespace quillet {

/// The picture of frame `index` (0, 1, 2, …): a fixed pattern, and a square that moves over it.
struct SyntheticPicture {
    int width = 0;
    int height = 0;

    /// 0xAARRGGBB, opaque, at column x and row y from the top.
    [[nodiscard]] std::uint32_t pixel(int x, int y, std::uint64_t index) const;
    /// Where the square of frame `index` stands. No two frames in a row have it in the same place.
    [[nodiscard]] PixelRect square(std::uint64_t index) const;
};

enum class SyntheticDrive {
    timer,   ///< `fps` frames a second, stamped with the live clock
    stepped, ///< the first frame by itself, each further one by step(); frame n is stamped n / fps seconds
};

/// Every display identifier but 0 exists. Threads: the queue's.
class SyntheticScreenSource final : public ScreenSource {
public:
    /// Null with the reason in `error` when the display does not exist or memory is short.
    [[nodiscard]] static std::unique_ptr<SyntheticScreenSource> make(SyntheticDrive drive, SerialQueue& queue,
                                                                     ScreenSourceOptions options, Error& error);
    ~SyntheticScreenSource() override;

    /// Makes the next frame now. When the receiver holds every buffer it is dropped, and its damage joins the next
    /// one's.
    void step();

private:
    SyntheticScreenSource(SyntheticDrive drive, SerialQueue& queue, ScreenSourceOptions options);
    void schedule(FramePacing::Clock::time_point when);
    void paint(PixelBuffer& frame, const PixelRect& rect) const;

    SyntheticDrive drive;
    SerialQueue& queue;
    ScreenSourceOptions options;
    FramePacing pacing;
    std::unique_ptr<FrameCycle> frames;
    SyntheticPicture picture;
    std::uint64_t index = 0; ///< of the next frame
    PixelRegion undelivered; ///< damage of dropped frames
    std::int64_t lastTime = 0;
    SerialQueue::TimerId timer = 0;
    // Expires with this object: the receiver may destroy it.
    std::shared_ptr<const bool> alive = std::make_shared<const bool>(true);
};

[[nodiscard]] ScreenSourceFactory syntheticScreenSourceFactory(SyntheticDrive drive);

} // namespace quillet
