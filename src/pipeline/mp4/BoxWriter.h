// BoxWriter.h: big-endian bytes and nested boxes, in memory.
#pragma once

#include <span>

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace quillet::mp4 {

/// Appends to a growing list of bytes. Box sizes are filled in when the box ends; only a box beyond 32 bits (never one
/// made here: sample data has headers of its own) stops the program.
///
/// Threads: a value, no locks.
class BoxWriter {
public:
    void u8(std::uint32_t value) { bytes.push_back(static_cast<std::byte>(value)); }
    void u16(std::uint32_t value);
    void u24(std::uint32_t value);
    void u32(std::uint32_t value);
    void u64(std::uint64_t value);
    void text(std::string_view value); ///< as it stands, without a final zero
    void zeros(std::size_t count) { bytes.resize(bytes.size() + count); }
    void raw(std::span<const std::byte> value) { bytes.insert(bytes.end(), value.begin(), value.end()); }

    /// Writes over four bytes that stand already, for offsets that are known late.
    void patch32(std::size_t position, std::uint32_t value);

    /// Runs `content` between a header with the four-character `type` and the box's end.
    template <class Content>
    void box(std::string_view type, Content content) {
        const std::size_t start = begin(type);
        content();
        end(start);
    }
    template <class Content>
    void fullBox(std::string_view type, std::uint32_t version, std::uint32_t flags, Content content) {
        box(type, [&] {
            u8(version);
            u24(flags);
            content();
        });
    }

    [[nodiscard]] std::size_t size() const { return bytes.size(); }
    [[nodiscard]] std::span<const std::byte> view() const { return bytes; }
    void clear() { bytes.clear(); }

private:
    std::size_t begin(std::string_view type);
    void end(std::size_t start);

    std::vector<std::byte> bytes;
};

} // namespace quillet::mp4
