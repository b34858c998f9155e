#include "pipeline/CircleShelf.h"

#include <utility>

namespace quillet {

ConstPixelBufferRef CircleShelf::find(const Key& key) const {
    const std::lock_guard guard(mutex);
    for (const Entry& entry : entries)
        if (entry.circle && entry.key == key) return entry.circle;
    return nullptr;
}

void CircleShelf::put(const Key& key, ConstPixelBufferRef circle) {
    {
        const std::lock_guard guard(mutex);
        Entry& entry = entries[oldest];
        entry.key = key;
        entry.circle.swap(circle);
        oldest = (oldest + 1) % entries.size();
    }
    // The one that has left the shelf goes here, after the lock.
}

} // namespace quillet
