// sequenceParameterSet.h: what the H.264 library writes about a film's timing, put right.
#pragma once

#include <span>

#include <cstddef>

namespace quillet {

/// Clears fixed_frame_rate_flag (ITU-T H.264, 7.3.2.1.1 and E.1.1) in a sequence parameter set of the High profile,
/// given as a NAL unit without start code or length: the pictures come whenever something changes. True if the flag is
/// clear afterwards or the set says nothing of timing; false, with nothing changed, if the set is not understood.
[[nodiscard]] bool clearFixedFrameRate(std::span<std::byte> unit);

} // namespace quillet
