// settings.h: which fields of the state outlive the program, and under which keys.
#pragma once

#include "app/AppState.h"
#include "app/SettingsStore.h"

namespace quillet {

/// The defaults, with whatever the store knows of the eight kept fields. A range mode or a quality that does not exist
/// leaves the default; any other key that is there counts, however senseless its value.
[[nodiscard]] AppState loadSettings(const SettingsStore& store);

/// Writes all eight keys.
void saveSettings(SettingsStore& store, const AppState& state);

} // namespace quillet
