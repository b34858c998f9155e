// streamBuffers.h: what other programs have put into shared memory, as far as it can be believed.
#pragma once

#include "platform/pipewire/CameraPicture.h"

#include <spa/buffer/buffer.h>
#include <span>

namespace quillet {

// Sizes, offsets and strides in a buffer are another program's word, and it may change them at any moment; each is read
// once, and nothing given out reaches beyond the memory that is mapped.

/// Whether a camera's buffer says itself that there is no whole picture in it.
[[nodiscard]] bool isEmptyOrDamaged(const spa_buffer& buffer);

/// A camera's picture: planes without memory, or whose rows would run upwards, stay empty.
[[nodiscard]] CameraPicture pictureOf(const spa_buffer& buffer);

/// The whole frames of a buffer of interleaved floats; empty when they are not where floats can stand.
[[nodiscard]] std::span<const float> soundOf(const spa_buffer& buffer, std::size_t channels);

} // namespace quillet
