// FuzzInput.h: numbers and bytes taken from a fuzzer's input, front to back.
#pragma once

#include <span>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

namespace quillet::fuzz {

using Bytes = std::vector<std::byte>;

/// Where the input ends, zeros follow.
class FuzzInput {
public:
    explicit FuzzInput(std::span<const std::byte> input) : rest(input) {}

    [[nodiscard]] bool isEmpty() const { return rest.empty(); }

    /// The next bytes as they stand in memory.
    template <typename T>
    [[nodiscard]] T take() {
        static_assert(std::is_trivially_copyable_v<T>);
        T value{};
        const std::size_t count = std::min(rest.size(), sizeof value);
        if (count > 0) std::memcpy(&value, rest.data(), count); // an empty input may have no memory at all
        rest = rest.subspan(count);
        return value;
    }
    /// One of 0 … count - 1, from one byte.
    [[nodiscard]] unsigned below(unsigned count) { return take<std::uint8_t>() % count; }
    /// Memory of exactly this many bytes, so that one too many is noticed; what the input lacks is zero.
    [[nodiscard]] Bytes bytes(std::size_t count) {
        Bytes taken(count);
        const std::size_t available = std::min(count, rest.size());
        std::copy_n(rest.begin(), available, taken.begin());
        rest = rest.subspan(available);
        return taken;
    }
    [[nodiscard]] Bytes remaining() { return bytes(rest.size()); }

private:
    std::span<const std::byte> rest;
};

/// Writes what FuzzInput reads: for seeds.
class FuzzSeed {
public:
    template <typename T>
    FuzzSeed& put(const T& value) {
        static_assert(std::is_trivially_copyable_v<T>);
        const auto* from = reinterpret_cast<const std::byte*>(&value);
        content.insert(content.end(), from, from + sizeof value);
        return *this;
    }
    FuzzSeed& byte(unsigned value) { return put(static_cast<std::uint8_t>(value)); }
    FuzzSeed& bytes(std::span<const std::byte> more) {
        content.insert(content.end(), more.begin(), more.end());
        return *this;
    }
    [[nodiscard]] Bytes take() { return std::move(content); }

private:
    Bytes content;
};

} // namespace quillet::fuzz
