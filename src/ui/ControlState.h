// ControlState.h: everything the control panel shows.
#pragma once

#include "geometry/RangeMode.h"
#include "pipeline/ExportQuality.h"

#include <cstdint>
#include <string>

namespace quillet {

/// A copy of the model's fields, with the model's own defaults. Nothing here need be valid: the panel copes with any
/// index and any fraction, numbers that are not finite included, and never writes one back by itself.
struct ControlState {
    RangeMode rangeMode = RangeMode::ratio16x9;
    bool cameraEnabled = false;
    bool micEnabled = true;
    bool teleprompterEnabled = false;
    ExportQuality quality = ExportQuality::high;
    bool beautifyEnabled = false;
    std::int64_t backgroundIndex = 0;
    double cornerRadius = 0.045; ///< fraction of the shorter side of the inset picture
    double padding = 0.06;       ///< margin on each side, fraction of the shorter side of the canvas
    bool shadowEnabled = true;
    bool isRecording = false;
    std::string statusText; ///< UTF-8

    friend bool operator==(const ControlState&, const ControlState&) = default;
};

} // namespace quillet
