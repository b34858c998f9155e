#include "platform/pipewire/streamBuffers.h"

#include <spa/buffer/meta.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace quillet {

namespace {

/// The compiler may otherwise read it twice, and find something else the second time.
template <typename T>
T readOnce(const T& shared) {
    return *const_cast<const volatile T*>(&shared);
}

struct Part {
    std::size_t offset;
    std::size_t size;
};

/// What of the mapped memory a chunk claims: offsets count round, as the library's own readers take them.
Part partOf(const spa_data& data) {
    const std::size_t offset = readOnce(data.chunk->offset) % data.maxsize;
    return {offset, std::min<std::size_t>(readOnce(data.chunk->size), data.maxsize - offset)};
}

bool isMapped(const spa_data& data) { return data.data && data.chunk && data.maxsize > 0; }

} // namespace

bool isEmptyOrDamaged(const spa_buffer& buffer) {
    if (buffer.n_datas == 0 || !buffer.datas[0].chunk || readOnce(buffer.datas[0].chunk->size) == 0) return true;
    if ((static_cast<std::uint32_t>(readOnce(buffer.datas[0].chunk->flags)) & SPA_CHUNK_FLAG_CORRUPTED) != 0)
        return true;
    const auto* header = static_cast<const spa_meta_header*>(
        spa_buffer_find_meta_data(&buffer, SPA_META_Header, sizeof(spa_meta_header)));
    return header && (readOnce(header->flags) & SPA_META_HEADER_FLAG_CORRUPTED) != 0;
}

CameraPicture pictureOf(const spa_buffer& buffer) {
    CameraPicture picture;
    picture.planeCount = std::min<std::size_t>(buffer.n_datas, picture.planes.size());
    for (std::size_t i = 0; i < picture.planeCount; ++i) {
        const spa_data& data = buffer.datas[i];
        if (!isMapped(data)) continue;
        const Part part = partOf(data);
        const int stride = readOnce(data.chunk->stride);
        if (stride < 0) continue; // rows from the bottom up: no camera does that, and nobody says where they begin
        picture.planes[i] = {static_cast<const std::byte*>(data.data) + part.offset, part.size,
                             static_cast<std::size_t>(stride)};
    }
    const auto* turn = static_cast<const spa_meta_videotransform*>(
        spa_buffer_find_meta_data(&buffer, SPA_META_VideoTransform, sizeof(spa_meta_videotransform)));
    // The values count quarter turns, and again with the flip before.
    const std::uint32_t done = turn ? readOnce(turn->transform) : 0;
    if (done <= SPA_META_TRANSFORMATION_Flipped270)
        picture.turn = {.isFlipped = done >= SPA_META_TRANSFORMATION_Flipped, .quarters = static_cast<int>(done % 4)};
    return picture;
}

std::span<const float> soundOf(const spa_buffer& buffer, std::size_t channels) {
    if (buffer.n_datas == 0 || !isMapped(buffer.datas[0])) return {};
    const Part part = partOf(buffer.datas[0]);
    const std::byte* const begin = static_cast<const std::byte*>(buffer.datas[0].data) + part.offset;
    if (reinterpret_cast<std::uintptr_t>(begin) % alignof(float) != 0) return {};
    const std::size_t frames = part.size / (channels * sizeof(float));
    return {reinterpret_cast<const float*>(begin), channels * frames};
}

} // namespace quillet
