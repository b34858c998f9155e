#include "platform/FrameCycle.h"

#include <cstring>

namespace quillet {

namespace {

void copyRect(const PixelBuffer& from, PixelBuffer& to, const PixelRect& rect) {
    const std::size_t offset = static_cast<std::size_t>(rect.x) * 4;
    const std::size_t bytes = static_cast<std::size_t>(rect.width) * 4;
    for (int y = rect.y; y < rect.bottom(); ++y)
        std::memcpy(to.row(y) + offset, from.row(y) + offset, bytes);
}

} // namespace

bool FrameCycle::addSlot(int width, int height) {
    auto slot = std::make_shared<Slot>();
    slot->buffer = PixelBuffer::make(width, height);
    if (!slot->buffer) return false;
    slot->buffer->alpha = Alpha::ignored;
    slot->stale.add(slot->buffer->bounds());
    slots.push_back(std::move(slot));
    return true;
}

std::unique_ptr<FrameCycle> FrameCycle::make(int width, int height) {
    std::unique_ptr<FrameCycle> cycle(new FrameCycle);
    cycle->slots.reserve(capacity);
    if (!cycle->addSlot(width, height)) return nullptr;
    Slot& first = *cycle->slots.front();
    for (int y = 0; y < height; ++y)
        std::memset(first.buffer->row(y), 0, first.buffer->strideBytes());
    first.stale.clear();
    return cycle;
}

PixelBuffer* FrameCycle::writable() {
    // Acquire: whatever a holder on another thread read, it has read before we write.
    const auto isFree = [](const Slot& slot) { return !slot.isLent.load(std::memory_order_acquire); };
    if (isFree(*slots[current])) return slots[current]->buffer.get();

    const PixelBuffer& picture = *slots[current]->buffer;
    std::size_t successor = 0;
    while (successor < slots.size() && !isFree(*slots[successor]))
        ++successor;
    if (successor == slots.size() && (slots.size() == capacity || !addSlot(picture.width(), picture.height())))
        return nullptr;

    Slot& slot = *slots[successor];
    for (const PixelRect& rect : slot.stale.rects())
        copyRect(picture, *slot.buffer, rect);
    slot.stale.clear();
    current = successor;
    ++takeoverCount;
    return slot.buffer.get();
}

ConstPixelBufferRef FrameCycle::lend(std::optional<PixelRegion> damage) {
    const std::shared_ptr<Slot> slot = slots[current];
    PixelBuffer& frame = *slot->buffer;
    for (const std::shared_ptr<Slot>& other : slots) {
        if (other == slot) continue;
        if (damage)
            other->stale.add(*damage);
        else
            other->stale.add(frame.bounds());
    }
    frame.sequence = ++lastSequence;
    frame.damage = std::move(damage);
    slot->isLent.store(true, std::memory_order_relaxed);
    return {&frame, [slot](const PixelBuffer*) { slot->isLent.store(false, std::memory_order_release); }};
}

} // namespace quillet
