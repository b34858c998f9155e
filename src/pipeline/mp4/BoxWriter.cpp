#include "pipeline/mp4/BoxWriter.h"

#include "geometry/fatal.h"

#include <limits>

namespace quillet::mp4 {

void BoxWriter::u16(std::uint32_t value) {
    u8(value >> 8 & 0xFF);
    u8(value & 0xFF);
}

void BoxWriter::u24(std::uint32_t value) {
    u8(value >> 16 & 0xFF);
    u16(value);
}

void BoxWriter::u32(std::uint32_t value) {
    u16(value >> 16);
    u16(value);
}

void BoxWriter::u64(std::uint64_t value) {
    u32(static_cast<std::uint32_t>(value >> 32));
    u32(static_cast<std::uint32_t>(value));
}

void BoxWriter::text(std::string_view value) { raw(std::as_bytes(std::span(value))); }

void BoxWriter::patch32(std::size_t position, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i)
        bytes.at(position + i) = static_cast<std::byte>(value >> (24 - 8 * i));
}

std::size_t BoxWriter::begin(std::string_view type) {
    const std::size_t start = bytes.size();
    u32(0);
    text(type);
    return start;
}

void BoxWriter::end(std::size_t start) {
    const std::size_t length = bytes.size() - start;
    if (length > std::numeric_limits<std::uint32_t>::max()) fatal("an MP4 box beyond 32 bits");
    patch32(start, static_cast<std::uint32_t>(length));
}

} // namespace quillet::mp4
