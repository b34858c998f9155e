// StillRow.h: a still screen's key picture, and the pictures behind it that say that nothing has changed, kept to be
// given out again: where the screen stands still, coding it anew every two seconds would be most of what a recording
// costs.
#pragma once

#include <span>

#include <cstddef>
#include <vector>

namespace quillet {

/// An encoder's coded pictures from its last key picture on, as long as nothing has changed since. Given out once more
/// in the same order they are the same film, because a key picture makes a decoder forget what was before (ITU-T H.264,
/// 8.2.1). Only at the row's end, though, are encoder and decoder of one mind: before something else can be coded, the
/// row must have been given out to its end, or a key picture comes.
///
/// Threads: a value, no locks.
class StillRow {
public:
    /// A still screen has one such picture a second and a key picture every two; in a row longer than that something
    /// else is going on.
    static constexpr std::size_t longest = 4;

    /// What the encoder has just made and given out: a key picture begins a new row.
    void begin(std::span<const std::byte> key, int quantiser);
    /// One that says that nothing has changed; none before the first key picture.
    void extend(std::span<const std::byte> picture);
    /// Something has changed, or may have.
    void clear();

    /// True where encoder and decoder know the same pictures: anything may be coded next.
    [[nodiscard]] bool isAtEnd() const { return place == length; }
    /// The row's key picture once more; empty if there is none, if it is coarser than `quantiser`, or if it was the
    /// picture given out last, as two equal key pictures must not follow each other (7.4.3, idr_pic_id).
    [[nodiscard]] std::span<const std::byte> keyAgain(int quantiser);
    /// The row's next picture; empty at its end.
    [[nodiscard]] std::span<const std::byte> next();

private:
    std::vector<std::vector<std::byte>> pictures = std::vector<std::vector<std::byte>>(longest); // memory serves again
    std::size_t length = 0;
    std::size_t place = 0; // how many of them a decoder has been given
    int keyQuantiser = 0;
};

} // namespace quillet
