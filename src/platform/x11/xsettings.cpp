#include "platform/x11/xsettings.h"

#include <cstddef>

namespace quillet {

namespace {

constexpr std::uint8_t leastSignificantFirst = 0;
enum class Type : std::uint8_t { integer = 0, text = 1, colour = 2 };

/// Reads one value after the other; past the end it fails and stays there.
class Reader {
public:
    explicit Reader(std::span<const std::uint8_t> content) : rest(content) {}

    [[nodiscard]] std::optional<std::span<const std::uint8_t>> bytes(std::size_t count) {
        if (hasFailed || count > rest.size()) {
            hasFailed = true;
            return std::nullopt;
        }
        const auto taken = rest.first(count);
        rest = rest.subspan(count);
        return taken;
    }
    /// Text of this many bytes and what fills it up to a multiple of four.
    [[nodiscard]] std::optional<std::string_view> padded(std::size_t count) {
        const auto taken = bytes(count);
        if (!taken || !bytes((4 - count % 4) % 4)) return std::nullopt;
        return std::string_view(reinterpret_cast<const char*>(taken->data()), taken->size());
    }
    [[nodiscard]] std::optional<std::uint32_t> number(std::size_t count) {
        const auto taken = bytes(count);
        if (!taken) return std::nullopt;
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < count; ++i)
            value = value << 8 | (*taken)[littleEndian ? count - 1 - i : i];
        return value;
    }

    bool littleEndian = true;

private:
    std::span<const std::uint8_t> rest;
    bool hasFailed = false;
};

} // namespace

std::optional<std::string> xsettingsText(std::span<const std::uint8_t> settings, std::string_view name) {
    Reader reader(settings);
    const auto order = reader.number(1);
    if (!order || !reader.bytes(3)) return std::nullopt;
    reader.littleEndian = *order == leastSignificantFirst;
    if (!reader.number(4)) return std::nullopt; // the serial number
    const auto count = reader.number(4);
    for (std::uint32_t i = 0; count && i < *count; ++i) {
        const auto type = reader.number(1);
        if (!reader.bytes(1)) return std::nullopt;
        const auto nameLength = reader.number(2);
        const auto found = nameLength ? reader.padded(*nameLength) : std::nullopt;
        if (!found || !reader.number(4)) return std::nullopt; // when it was last changed
        switch (static_cast<Type>(*type)) {
            case Type::integer:
                if (!reader.bytes(4)) return std::nullopt;
                break;
            case Type::text: {
                const auto length = reader.number(4);
                const auto value = length ? reader.padded(*length) : std::nullopt;
                if (!value) return std::nullopt;
                if (*found == name) return std::string(*value);
                break;
            }
            case Type::colour:
                if (!reader.bytes(8)) return std::nullopt;
                break;
            default:
                return std::nullopt;
        }
    }
    return std::nullopt;
}

} // namespace quillet
