#include "platform/synthetic/SyntheticCamera.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace quillet {

namespace {

constexpr int cameraWidth = 1280;
constexpr int cameraHeight = 720;
constexpr std::chrono::nanoseconds frameDuration{1'000'000'000 / 30};

constexpr int bitCount = 16;

bool isCorner(int cell) {
    constexpr int side = SyntheticCameraPicture::cellsPerSide;
    return cell == 0 || cell == side - 1 || cell == side * (side - 1) || cell == side * side - 1;
}

} // namespace

std::vector<SyntheticCameraPicture::Patch> SyntheticCameraPicture::patches(std::uint64_t number) const {
    const int shorter = std::min(width, height);
    const int cell = std::max(1, static_cast<int>(shorter * cellShare) / 2 * 2);
    const int left = (width - cellsPerSide * cell) / 4 * 2;
    const int top = (height - cellsPerSide * cell) / 4 * 2;
    std::vector<Patch> result{{{0, 0, width, height}, ground}};
    int bit = 0;
    for (int index = 0; index < cellsPerSide * cellsPerSide; ++index) {
        const int column = index % cellsPerSide;
        const int row = index / cellsPerSide;
        std::uint32_t colour;
        if (isCorner(index)) {
            const bool isTop = row == 0;
            const bool isLeft = column == 0;
            colour = isTop ? (isLeft ? topLeft : topRight) : (isLeft ? bottomLeft : bottomRight);
        } else {
            const bool isSet = (number >> (bit % bitCount) & 1) != 0;
            colour = isSet == (bit < bitCount) ? one : zero;
            ++bit;
        }
        result.push_back({{left + column * cell, top + row * cell, cell, cell}, colour});
    }
    return result;
}

std::optional<std::uint32_t> SyntheticCameraPicture::readNumber(const std::function<double(double, double)>& lumaAt) {
    std::uint32_t number = 0;
    int bit = 0;
    for (int index = 0; index < cellsPerSide * cellsPerSide; ++index) {
        if (isCorner(index)) continue;
        const auto place = [](int cell) { return (cell - (cellsPerSide - 1) / 2.0) * cellShare; };
        const bool isBright = lumaAt(place(index % cellsPerSide), place(index / cellsPerSide)) > 125;
        if (bit < bitCount) {
            if (isBright) number |= 1U << bit;
        } else if (isBright == ((number >> (bit - bitCount) & 1) != 0)) {
            return std::nullopt;
        }
        ++bit;
    }
    return number;
}

SyntheticCamera::SyntheticCamera(SerialQueue& ownQueue, OnFrame receiver, std::unique_ptr<PixelBufferPool> frames)
    : queue(ownQueue), onFrame(std::move(receiver)), pool(std::move(frames)) {}

std::unique_ptr<SyntheticCamera> SyntheticCamera::make(SerialQueue& queue, OnFrame onFrame) {
    auto pool = PixelBufferPool::make({cameraWidth, cameraHeight});
    if (!pool) return nullptr;
    return std::unique_ptr<SyntheticCamera>(new SyntheticCamera(queue, std::move(onFrame), std::move(pool)));
}

SyntheticCamera::~SyntheticCamera() { stop(); }

void SyntheticCamera::start() {
    if (timer) return;
    due = SerialQueue::Clock::now();
    timer = queue.after(due, [this] { show(); });
}

void SyntheticCamera::stop() {
    if (timer) queue.cancel(std::exchange(timer, 0));
}

void SyntheticCamera::show() {
    due = std::max(due + frameDuration, SerialQueue::Clock::now());
    timer = queue.after(due, [this] { show(); });
    ++lastNumber;
    const PixelBufferRef frame = pool->acquire();
    if (!frame) return;
    for (const auto& [rect, colour] : SyntheticCameraPicture{cameraWidth, cameraHeight}.patches(lastNumber)) {
        const std::vector<std::uint32_t> line(static_cast<std::size_t>(rect.width), 0xff000000U | colour);
        for (int y = rect.y; y < rect.bottom(); ++y)
            std::memcpy(frame->row(y) + static_cast<std::ptrdiff_t>(rect.x) * 4, line.data(), line.size() * 4);
    }
    frame->alpha = Alpha::premultiplied;
    frame->sequence = lastNumber;
    onFrame(frame);
}

} // namespace quillet
