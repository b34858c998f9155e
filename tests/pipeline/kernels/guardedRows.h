// guardedRows.h: rows of random bytes at odd places in memory, with bytes behind each that must not change.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace quillet {

class GuardedRows {
public:
    static constexpr std::size_t count = 3;

    GuardedRows(std::size_t rowBytes, unsigned seed)
        : used(rowBytes), stride(rowBytes + 67), memory(stride * count + 1) {
        std::mt19937 random(seed);
        for (std::byte& byte : memory)
            byte = static_cast<std::byte>(random());
    }

    [[nodiscard]] std::byte* row(std::size_t y) { return memory.data() + 1 + y * stride; }

    /// Whether all bytes, guards included, are alike; says where they are not.
    [[nodiscard]] testing::AssertionResult sameAs(const GuardedRows& other) const {
        for (std::size_t i = 0; i < memory.size(); ++i)
            if (memory[i] != other.memory[i])
                return testing::AssertionFailure() << "byte " << (i - 1) % stride << " of row " << (i - 1) / stride
                                                   << " (" << used << " in use) is " << std::to_integer<int>(memory[i])
                                                   << ", not " << std::to_integer<int>(other.memory[i]);
        return testing::AssertionSuccess();
    }

private:
    std::size_t used;
    std::size_t stride;
    std::vector<std::byte> memory;
};

} // namespace quillet
