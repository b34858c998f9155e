// CircleShelf.h: camera circles that somebody else has drawn already.
#pragma once

#include "media/PixelBuffer.h"

#include <array>
#include <cstdint>
#include <mutex>

namespace quillet {

/// Where those who show the same camera, bubble and film, find each other's circles: of a picture that both show at the
/// same size, one draws and the other takes. Nobody waits for another's drawing.
///
/// Threads: any.
class CircleShelf {
public:
    /// What a circle was made of. The picture is known again by its address and `sequence`, which must count.
    struct Key {
        const PixelBuffer* camera = nullptr;
        std::uint64_t sequence = 0;
        int width = 0;
        int height = 0;
        double diameter = 0;
        bool isMirrored = false;
        friend bool operator==(const Key&, const Key&) = default;
    };

    /// Null when it is not there.
    [[nodiscard]] ConstPixelBufferRef find(const Key& key) const;
    /// Kept until two newer ones have come. Nobody may write to it any more.
    void put(const Key& key, ConstPixelBufferRef circle);

private:
    struct Entry {
        Key key;
        ConstPixelBufferRef circle;
    };
    mutable std::mutex mutex; // guards what follows, for copies of references only
    std::array<Entry, 2> entries;
    std::size_t oldest = 0;
};

} // namespace quillet
