#include "pipeline/encode/sequenceParameterSet.h"

#include <cstdint>
#include <optional>

namespace quillet {

namespace {

/// Reads a NAL unit's bits and knows where they lie; steps over emulation prevention bytes (7.4.1). Past the end it
/// reads zeros.
class BitReader {
public:
    explicit BitReader(std::span<const std::byte> unitBytes) : unit(unitBytes) {}

    [[nodiscard]] bool isPastEnd() const { return byte >= unit.size(); }
    [[nodiscard]] std::size_t bytePosition() const { return byte; }
    [[nodiscard]] std::byte mask() const { return std::byte{0x80} >> bit; }

    unsigned flag() {
        if (isPastEnd()) return 0;
        const bool value = (unit[byte] & mask()) != std::byte{0};
        if (++bit == 8) nextByte();
        return value ? 1 : 0;
    }
    std::uint32_t bits(int count) {
        std::uint32_t value = 0;
        for (int i = 0; i < count; ++i)
            value = value << 1 | flag();
        return value;
    }
    /// Exp-Golomb, unsigned (9.1); for the signed ones only the length matters here.
    std::uint32_t golomb() {
        int zeros = 0;
        while (zeros < 32 && !isPastEnd() && flag() == 0)
            ++zeros;
        return zeros == 32 ? 0 : (1U << zeros) - 1 + bits(zeros);
    }

private:
    void nextByte() {
        bit = 0;
        ++byte;
        if (byte >= 2 && byte < unit.size() && unit[byte] == std::byte{3} && unit[byte - 1] == std::byte{0} &&
            unit[byte - 2] == std::byte{0})
            ++byte;
    }

    std::span<const std::byte> unit;
    std::size_t byte = 0;
    int bit = 0;
};

enum class Timing { none, present, notUnderstood };

/// Reads up to fixed_frame_rate_flag.
Timing readUpToFlag(BitReader& reader) {
    constexpr std::uint32_t sequenceParameterSet = 7;
    constexpr std::uint32_t high = 100;
    if ((reader.bits(8) & 31) != sequenceParameterSet || reader.bits(8) != high) return Timing::notUnderstood;
    reader.bits(16);                                        // constraints, level
    reader.golomb();                                        // the set's number
    if (reader.golomb() == 3) return Timing::notUnderstood; // 4:4:4
    reader.golomb();                                        // luma's depth
    reader.golomb();                                        // chroma's depth
    reader.flag();                                          // transform bypass
    if (reader.flag()) return Timing::notUnderstood;        // scaling matrices
    reader.golomb();                                        // frame numbers' length
    const std::uint32_t orderCountType = reader.golomb();
    if (orderCountType == 1) return Timing::notUnderstood;
    if (orderCountType == 0) reader.golomb();
    reader.golomb();                       // reference frames
    reader.flag();                         // gaps
    reader.golomb();                       // width
    reader.golomb();                       // height
    if (reader.flag() == 0) reader.flag(); // fields
    reader.flag();                         // direct inference
    if (reader.flag())
        for (int side = 0; side < 4; ++side)
            reader.golomb(); // cropping
    if (reader.flag() == 0) return Timing::none;

    constexpr std::uint32_t extendedAspect = 255;
    if (reader.flag() && reader.bits(8) == extendedAspect) reader.bits(32);
    if (reader.flag()) reader.flag(); // overscan
    if (reader.flag()) {
        reader.bits(4);                     // video format, range
        if (reader.flag()) reader.bits(24); // colour
    }
    if (reader.flag()) {
        reader.golomb(); // where chroma lies
        reader.golomb();
    }
    if (reader.flag() == 0) return Timing::none;
    reader.bits(32); // the tick
    reader.bits(32); // ticks a second
    return reader.isPastEnd() ? Timing::notUnderstood : Timing::present;
}

} // namespace

bool clearFixedFrameRate(std::span<std::byte> unit) {
    BitReader reader(unit);
    const Timing timing = readUpToFlag(reader);
    if (timing == Timing::present) {
        const std::size_t at = reader.bytePosition();
        const std::byte cleared = unit[at] & ~reader.mask();
        // A run of zeros that would need an emulation prevention byte has no room for one.
        const bool afterZeros = at >= 2 && unit[at - 1] == std::byte{0} && unit[at - 2] == std::byte{0};
        if (cleared == std::byte{0} || (cleared <= std::byte{3} && afterZeros)) return false;
        unit[at] = cleared;
    }
    return timing != Timing::notUnderstood;
}

} // namespace quillet
