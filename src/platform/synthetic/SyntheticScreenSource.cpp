#include "platform/synthetic/SyntheticScreenSource.h"

#include <algorithm>
#include <cstring>

namespace quillet {

std::uint32_t SyntheticPicture::pixel(int x, int y, std::uint64_t index) const {
    const auto column = static_cast<std::uint32_t>(x);
    const auto row = static_cast<std::uint32_t>(y);
    const PixelRect moving = square(index);
    if (!moving.intersection({x, y, 1, 1}).isEmpty())
        return 0xff000000U | ((static_cast<std::uint32_t>(index) * 0x010305U + 0x804020U) & 0xffffffU);
    return 0xff000000U | (column * 3 & 0xffU) << 16 | (row * 5 & 0xffU) << 8 | ((column ^ row) & 0xffU);
}

PixelRect SyntheticPicture::square(std::uint64_t index) const {
    const int side = std::max(1, std::min(width, height) / 4);
    const auto columns = static_cast<std::uint64_t>(width - side) + 1;
    const auto rows = static_cast<std::uint64_t>(height - side) + 1;
    return {static_cast<int>(index * 7 % columns), static_cast<int>(index * 3 % rows), side, side};
}

SyntheticScreenSource::SyntheticScreenSource(SyntheticDrive wantedDrive, SerialQueue& ownQueue,
                                             ScreenSourceOptions wanted)
    : drive(wantedDrive), queue(ownQueue), options(std::move(wanted)), pacing(options.fps) {}

std::unique_ptr<SyntheticScreenSource> SyntheticScreenSource::make(SyntheticDrive drive, SerialQueue& queue,
                                                                   ScreenSourceOptions options, Error& error) {
    if (options.displayID == 0) {
        error = {"Quillet", 1, "No capturable display found."};
        return nullptr;
    }
    std::unique_ptr<SyntheticScreenSource> source(new SyntheticScreenSource(drive, queue, std::move(options)));
    const std::int64_t width = truncated(source->options.pixelSize.width, "the width of a display");
    const std::int64_t height = truncated(source->options.pixelSize.height, "the height of a display");
    constexpr std::int64_t largestSide = 32767;
    if (width < 1 || height < 1 || width > largestSide || height > largestSide) {
        error = {"Quillet", 5, "The display has no usable size."};
        return nullptr;
    }
    source->picture = {static_cast<int>(width), static_cast<int>(height)};
    source->frames = FrameCycle::make(source->picture.width, source->picture.height);
    if (!source->frames) {
        error = {"Quillet", 5, "There is not enough memory for a picture of the display."};
        return nullptr;
    }
    source->schedule(FramePacing::Clock::now());
    return source;
}

SyntheticScreenSource::~SyntheticScreenSource() {
    if (timer) queue.cancel(timer);
}

void SyntheticScreenSource::schedule(FramePacing::Clock::time_point when) {
    timer = queue.after(when, [this] {
        timer = 0;
        const std::weak_ptr<const bool> stillAlive = alive;
        step();
        if (!stillAlive.expired() && drive == SyntheticDrive::timer) schedule(pacing.due());
    });
}

void SyntheticScreenSource::step() {
    const FramePacing::Clock::time_point now = FramePacing::Clock::now();
    pacing.tookPlaceAt(now);
    PixelRegion changed = std::move(undelivered);
    undelivered.clear();
    if (index > 0) {
        changed.add(picture.square(index - 1));
        changed.add(picture.square(index));
    }
    MediaTime time{static_cast<std::int64_t>(index), std::max(1, options.fps)};
    if (drive == SyntheticDrive::timer) time = {std::max(mediaTimeAt(now).value, lastTime + 1), liveTimescale};
    lastTime = time.value;

    PixelBuffer* const frame = frames->writable();
    if (!frame) {
        undelivered = std::move(changed);
        ++index;
        return;
    }
    const bool isFirst = index == 0;
    if (isFirst) paint(*frame, frame->bounds());
    for (const PixelRect& rect : changed.rects())
        paint(*frame, rect);
    ++index;
    ConstPixelBufferRef lent = isFirst ? frames->lend(std::nullopt) : frames->lend(std::move(changed));
    // A copy: the receiver may destroy this object, and the callback with it, while it runs.
    const auto receive = options.onFrame;
    if (receive) receive(std::move(lent), time);
}

void SyntheticScreenSource::paint(PixelBuffer& frame, const PixelRect& rect) const {
    for (int y = rect.y; y < rect.bottom(); ++y)
        for (int x = rect.x; x < rect.right(); ++x) {
            const std::uint32_t colour = picture.pixel(x, y, index);
            std::memcpy(frame.row(y) + static_cast<std::ptrdiff_t>(x) * 4, &colour, sizeof colour);
        }
}

ScreenSourceFactory syntheticScreenSourceFactory(SyntheticDrive drive) {
    return [drive](SerialQueue& queue, ScreenSourceOptions options, Error& error) {
        return SyntheticScreenSource::make(drive, queue, std::move(options), error);
    };
}

} // namespace quillet
