// X264Encoder.h: H.264 by libx264 directly, because its wrappers do not pass on what a screen recorder needs most.
#pragma once

#include "pipeline/encode/VideoEncoder.h"

namespace quillet {

/// High profile, automatic level, BT.709 limited range with chroma sited at the centre of its four pixels, key frames
/// on demand and at least every 2 * fps pictures. A screen that stands still is coded once and then given out again.
///
/// Null when libx264 refuses (sizes that are odd, empty or beyond 16384); its words go to `error`.
[[nodiscard]] std::unique_ptr<VideoEncoder> makeX264Encoder(const VideoEncoderOptions& options, Error& error);

} // namespace quillet
