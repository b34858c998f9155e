// RawRoot.h: what the display shows, ours included; what every check is held against.
#pragma once

#include "platform/x11/xcbHandles.h"
#include "tests/fakes/Picture.h"

#include <xcb/xcb.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

namespace quillet::testing {

/// Reads the root window as any screenshot program does. Threads: one.
class RawRoot {
public:
    explicit RawRoot(const std::string& displayName);

    [[nodiscard]] Picture read() const;
    /// What it shows once it has stayed the same for `rest`; an empty picture when that never happens.
    [[nodiscard]] Picture settled(std::chrono::milliseconds rest) const;

private:
    XcbConnectionHandle connection;
    xcb_window_t root = 0;
};

/// Reads the root again and again on a thread of its own and counts how often a window of ours was in it: the proof
/// that a recording without them had something to hide.
class RawRootWatch {
public:
    explicit RawRootWatch(const std::string& displayName);
    [[nodiscard]] int tintedReads() const { return tinted; }

private:
    std::atomic<int> tinted = 0;
    std::jthread thread;
};

[[nodiscard]] std::size_t tintedPixels(const Picture& picture);

} // namespace quillet::testing
