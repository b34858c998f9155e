#include "tests/fakes/FrameReceiver.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace quillet::testing {

namespace {

constexpr std::chrono::seconds failureLimit{20};

} // namespace

FrameReceiver::FrameReceiver(FrameReceiverHooks ownHooks) : hooks(std::move(ownHooks)) {}

FrameReceiver::~FrameReceiver() { stop(); }

bool FrameReceiver::start(const ScreenSourceFactory& factory, std::uint32_t displayID, Size pixelSize, int fps,
                          std::set<std::uint32_t> excludeWindowIDs) {
    wantedSize = pixelSize;
    queue.sync([&] {
        ScreenSourceOptions options;
        options.displayID = displayID;
        options.pixelSize = pixelSize;
        options.fps = fps;
        options.excludeWindowIDs = std::move(excludeWindowIDs);
        options.onFrame = [this](const ConstPixelBufferRef& frame, MediaTime time) { receive(frame, time); };
        options.onLost = [this](const Error&) {
            const std::lock_guard guard(mutex);
            ++lossCount;
            arrived.notify_all();
        };
        source = factory(queue, std::move(options), startError);
    });
    return source != nullptr;
}

void FrameReceiver::stop() {
    queue.sync([this] { source.reset(); });
}

void FrameReceiver::receive(const ConstPixelBufferRef& frame, MediaTime time) {
    if (hooks.onFrame) hooks.onFrame(frame);
    Picture received = hooks.onlyCounts ? Picture() : Picture::of(*frame);
    const std::lock_guard guard(mutex);
    ++frameCount;
    if (!hooks.onlyCounts) check(*frame, received, time);
    frameTimes.push_back(time.valueIn(liveTimescale));
    damages.push_back(frame->damage);
    picture = std::move(received);
    arrived.notify_all();
}

void FrameReceiver::check(const PixelBuffer& frame, const Picture& received, MediaTime time) {
    const std::string name = "frame " + std::to_string(frameCount) + ": ";
    if (frame.sequence != frameCount) troubles.push_back(name + "has number " + std::to_string(frame.sequence));
    if (frame.width() != static_cast<int>(wantedSize.width) || frame.height() != static_cast<int>(wantedSize.height))
        troubles.push_back(name + "has another size");
    if (frame.alpha != Alpha::ignored) troubles.push_back(name + "claims to know its alpha");
    if (!frameTimes.empty() && time.valueIn(liveTimescale) <= frameTimes.back())
        troubles.push_back(name + "is not later than the one before");
    if (frameCount == 1) {
        if (frame.damage) troubles.push_back(name + "is not whole");
        return;
    }
    if (!frame.damage || received.width != picture.width || received.height != picture.height) return;
    Picture undamaged = received;
    for (const PixelRect& rect : frame.damage->rects()) {
        if (!frame.bounds().contains(rect)) troubles.push_back(name + "has damage outside");
        undamaged.paint(rect, [&](int x, int y) { return picture.at(rect.x + x, rect.y + y); });
    }
    if (undamaged != picture) troubles.push_back(name + "has changed outside its damage");
    // A frame that says that nothing differs is there for the sake of its time.
    if (received == picture && !frame.damage->isEmpty()) troubles.push_back(name + "shows nothing new");
}

bool FrameReceiver::waitFor(const std::function<bool(const Picture&)>& condition) {
    std::unique_lock lock(mutex);
    return arrived.wait_for(lock, failureLimit, [&] { return frameCount > 0 && condition(picture); });
}

bool FrameReceiver::waitFor(const Picture& expected) {
    if (waitFor([&](const Picture& received) { return received == expected; })) return true;
    const Picture last = latest();
    PixelRect where;
    std::uint32_t got = 0;
    for (int y = 0; y < std::min(expected.height, last.height); ++y)
        for (int x = 0; x < std::min(expected.width, last.width); ++x)
            if (expected.at(x, y) != last.at(x, y)) {
                if (where.isEmpty()) got = last.at(x, y);
                where = where.united({x, y, 1, 1});
            }
    std::fprintf(stderr, "the latest frame differs in %dx%d pixels at %d,%d, the first one being %06x\n", where.width,
                 where.height, where.x, where.y, got);
    return false;
}

bool FrameReceiver::waitForCount(std::uint64_t wanted) {
    std::unique_lock lock(mutex);
    return arrived.wait_for(lock, failureLimit, [&] { return frameCount >= wanted; });
}

bool FrameReceiver::waitForLoss() {
    std::unique_lock lock(mutex);
    return arrived.wait_for(lock, failureLimit, [&] { return lossCount > 0; });
}

std::uint64_t FrameReceiver::count() const {
    const std::lock_guard guard(mutex);
    return frameCount;
}

int FrameReceiver::losses() const {
    const std::lock_guard guard(mutex);
    return lossCount;
}

Picture FrameReceiver::latest() const {
    const std::lock_guard guard(mutex);
    return picture;
}

std::vector<std::int64_t> FrameReceiver::times() const {
    const std::lock_guard guard(mutex);
    return frameTimes;
}

std::optional<PixelRegion> FrameReceiver::damageOf(std::uint64_t sequence) const {
    const std::lock_guard guard(mutex);
    return damages.at(static_cast<std::size_t>(sequence) - 1);
}

std::vector<std::string> FrameReceiver::problems() const {
    const std::lock_guard guard(mutex);
    return troubles;
}

} // namespace quillet::testing
