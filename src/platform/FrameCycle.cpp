#include "platform/FrameCycle.h"

#include "geometry/fatal.h"

#include <algorithm>
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
    if (allocate) slot->buffer = allocate(width, height);
    if (!slot->buffer) slot->buffer = PixelBuffer::make(width, height);
    if (!slot->buffer) return false;
    slot->buffer->alpha = Alpha::ignored;
    slot->stale.add(slot->buffer->bounds());
    slots.push_back(std::move(slot));
    return true;
}

std::unique_ptr<FrameCycle> FrameCycle::make(int width, int height, Allocator allocate) {
    std::unique_ptr<FrameCycle> cycle(new FrameCycle(std::move(allocate)));
    cycle->slots.reserve(capacity);
    if (!cycle->addSlot(width, height)) return nullptr;
    Slot& first = *cycle->slots.front();
    for (int y = 0; y < height; ++y)
        std::memset(first.buffer->row(y), 0, first.buffer->strideBytes());
    first.stale.clear();
    return cycle;
}

// Acquire: whatever a holder on another thread read, it has read before we write.
bool FrameCycle::isFree(const Slot& slot) { return !slot.isLent.load(std::memory_order_acquire); }

PixelBuffer* FrameCycle::spare() {
    if (slots.size() == 1) {
        const PixelBuffer& picture = *slots.front()->buffer;
        if (!addSlot(picture.width(), picture.height())) return nullptr;
    }
    for (std::size_t i = 0; i < slots.size(); ++i) {
        if (i == current || !isFree(*slots[i])) continue;
        slots[i]->stale.clear();
        slots[i]->stale.add(slots[i]->buffer->bounds());
        return slots[i]->buffer.get();
    }
    return nullptr;
}

void FrameCycle::replaceBy(const PixelBuffer& spare, const PixelRect& spoilt) {
    slots[current]->stale.add(spoilt);
    const auto found = std::ranges::find(slots, &spare, [](const auto& slot) { return slot->buffer.get(); });
    if (found == slots.end()) fatal("a frame from elsewhere");
    (*found)->stale.clear();
    current = static_cast<std::size_t>(found - slots.begin());
}

PixelBuffer* FrameCycle::writable() {
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
