// FrameJudge.h: looks at every single frame of a recording.
#pragma once

#include "media/PixelBuffer.h"
#include "tests/fakes/Picture.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace quillet::testing {

/// A picture, and where a frame need not show it.
struct Expectation {
    Picture picture;
    std::vector<PixelRect> ignored = {};
    int tolerance = 0; ///< by which each channel may differ
};

/// Where two pictures differ outside `ignored`, in words; empty when nowhere.
[[nodiscard]] std::string difference(const Picture& got, const Expectation& expected);

/// Condemns every frame with a pixel that leans towards the colour of our own windows and, while there is an
/// expectation, every frame that differs from it. With QUILLET_TEST_PICTURES naming a folder, the first bad frame and
/// what was expected are left there.
///
/// Threads: any.
class FrameJudge {
public:
    void look(const PixelBuffer& frame);
    /// For the frames from now on; nothing: only the tint counts.
    void expect(std::optional<Expectation> wanted);
    /// While false, frames may show our windows.
    void forbidTint(bool isForbidden);

    [[nodiscard]] std::uint64_t framesSeen() const;
    /// What was wrong, in one line; empty when nothing was.
    [[nodiscard]] std::string verdict() const;

private:
    mutable std::mutex mutex; // guards all below
    std::optional<Expectation> expectation;
    bool isTintForbidden = true;
    std::uint64_t seen = 0;
    std::uint64_t tinted = 0;
    std::uint64_t different = 0;
    std::string firstTint;
    std::string firstDifference;
};

} // namespace quillet::testing
