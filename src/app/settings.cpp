#include "app/settings.h"

#include <string>
#include <string_view>

namespace quillet {

namespace {

// Never to be changed: they are what earlier versions have written.
constexpr std::string_view rangeModeKey = "Quillet.rangeMode";
constexpr std::string_view micEnabledKey = "Quillet.micEnabled";
constexpr std::string_view qualityKey = "Quillet.quality";
constexpr std::string_view beautifyEnabledKey = "Quillet.beautifyEnabled";
constexpr std::string_view backgroundIndexKey = "Quillet.backgroundIndex";
constexpr std::string_view cornerRadiusKey = "Quillet.cornerRadius";
constexpr std::string_view paddingKey = "Quillet.padding";
constexpr std::string_view shadowEnabledKey = "Quillet.shadowEnabled";

SettingsStore::Entry entry(std::string_view key, SettingsStore::Value value) {
    return {std::string(key), std::move(value)};
}

} // namespace

AppState loadSettings(const SettingsStore& store) {
    AppState state;
    state.statusText = "选择范围，开摄像头摆头像，然后开始。";
    if (const auto text = store.text(rangeModeKey))
        state.rangeMode = rangeModeFromRawValue(*text).value_or(state.rangeMode);
    if (store.contains(micEnabledKey)) state.micEnabled = store.boolean(micEnabledKey);
    if (const auto text = store.text(qualityKey))
        state.quality = exportQualityFromRawValue(*text).value_or(state.quality);
    if (store.contains(beautifyEnabledKey)) state.beautifyEnabled = store.boolean(beautifyEnabledKey);
    if (store.contains(backgroundIndexKey)) state.backgroundIndex = store.integer(backgroundIndexKey);
    if (store.contains(cornerRadiusKey)) state.cornerRadius = store.real(cornerRadiusKey);
    if (store.contains(paddingKey)) state.padding = store.real(paddingKey);
    if (store.contains(shadowEnabledKey)) state.shadowEnabled = store.boolean(shadowEnabledKey);
    return state;
}

void saveSettings(SettingsStore& store, const AppState& state) {
    store.write({entry(rangeModeKey, std::string(rawValue(state.rangeMode))), entry(micEnabledKey, state.micEnabled),
                 entry(qualityKey, std::string(rawValue(state.quality))),
                 entry(beautifyEnabledKey, state.beautifyEnabled), entry(backgroundIndexKey, state.backgroundIndex),
                 entry(cornerRadiusKey, state.cornerRadius), entry(paddingKey, state.padding),
                 entry(shadowEnabledKey, state.shadowEnabled)});
}

} // namespace quillet
