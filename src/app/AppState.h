// AppState.h: everything the user can set and everything the control window shows.
#pragma once

#include "pipeline/BeautifySettings.h"
#include "ui/ControlState.h"

namespace quillet {

/// The model's fields are what the control window shows, and their defaults those of a first launch, the status line's
/// apart. `app/settings.h` says which of them outlive the program; the camera, the teleprompter, the recording and the
/// status line always start anew. The index and the two fractions are as the store has them, in range or not.
using AppState = ControlState;

/// The look as the compositor takes it, whatever the store said: a negative index, which the backdrops do not know,
/// becomes the first one, and the fractions come into a range in which a picture is left. The panel's own limits are
/// well inside.
[[nodiscard]] BeautifySettings beautifySettings(const AppState& state);

} // namespace quillet
