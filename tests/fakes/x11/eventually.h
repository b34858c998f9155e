// eventually.h: waiting for something that announces itself to nobody.
#pragma once

#include <chrono>
#include <thread>

namespace quillet::testing {

/// Repeats a question to the world until the answer is yes; false after 20 seconds, which means failure.
template <typename Question>
[[nodiscard]] bool eventually(Question question) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!question()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

} // namespace quillet::testing
