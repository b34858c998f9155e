// AppState.h: everything the user can set and everything the control window shows.
#pragma once

#include "geometry/RangeMode.h"
#include "pipeline/BeautifySettings.h"
#include "pipeline/ExportQuality.h"

#include <cstdint>
#include <string>

namespace quillet {

/// The defaults are those of a first launch. `app/settings.h` says which fields outlive the program; the camera, the
/// teleprompter, the recording and the status line always start anew.
struct AppState {
    RangeMode rangeMode = RangeMode::ratio16x9;
    bool cameraEnabled = false;
    bool micEnabled = true;
    ExportQuality quality = ExportQuality::high;
    bool teleprompterEnabled = false;
    bool beautifyEnabled = false;
    std::int64_t backgroundIndex = 0; ///< preset of BackgroundLibrary; as stored, in range or not
    double cornerRadius = 0.045;      ///< fraction of the shorter side of the framed picture; as stored
    double padding = 0.06;            ///< fraction of the shorter side of the canvas; as stored
    bool shadowEnabled = true;
    bool isRecording = false;
    std::string statusText = "选择范围，开摄像头摆头像，然后开始。";

    friend bool operator==(const AppState&, const AppState&) = default;
};

/// The look as the compositor and the preview take it. The state holds what the store said, however senseless; here a
/// negative index, which the backdrops do not know, becomes the first one, and the fractions come into a range in which
/// a picture is left: the panel's own limits are well inside.
[[nodiscard]] BeautifySettings beautifySettings(const AppState& state);

} // namespace quillet
