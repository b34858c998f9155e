// xsettings.h: the format in which X desktops tell programs their settings.
#pragma once

#include <span>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quillet {

/// The text that the setting `name` has in `settings`, the content of a manager's _XSETTINGS_SETTINGS property
/// (https://specifications.freedesktop.org/xsettings-spec/latest/, 0.5). Nothing where it is not there or no text; what
/// is cut short or breaks the format ends the list.
[[nodiscard]] std::optional<std::string> xsettingsText(std::span<const std::uint8_t> settings, std::string_view name);

} // namespace quillet
