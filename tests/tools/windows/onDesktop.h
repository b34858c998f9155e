// onDesktop.h: waiting inside a program with windows.
#pragma once

#include <QCoreApplication>
#include <QEventLoop>

#include <chrono>

namespace quillet::testing {

/// Runs the program's events until the answer is yes; false after 20 seconds, which means failure.
template <typename Question>
[[nodiscard]] bool soon(Question question) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!question()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 5);
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return true;
}

} // namespace quillet::testing
