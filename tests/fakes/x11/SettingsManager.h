// SettingsManager.h: the program that tells an X desktop's settings to all others.
#pragma once

#include "platform/x11/xcbHandles.h"

#include <array>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace quillet::testing {

struct Setting {
    using Colour = std::array<std::uint16_t, 4>;
    std::string name;
    std::variant<int, std::string, Colour> value;
};

enum class ByteOrder : std::uint8_t { little = 0, big = 1 };

/// The bytes of the property, as XSETTINGS lays them out.
[[nodiscard]] std::vector<std::uint8_t> encodedSettings(const std::vector<Setting>& settings, ByteOrder order);

/// Owns the selection of settings managers from the first set() until it goes.
class SettingsManager {
public:
    explicit SettingsManager(const std::string& displayName);
    void set(const std::vector<Setting>& settings);

private:
    [[nodiscard]] xcb_atom_t atom(const std::string& name) const;
    void announce();

    XcbConnectionHandle connection;
    xcb_window_t root = XCB_NONE;
    xcb_window_t window = XCB_NONE;
    bool isAnnounced = false;
};

} // namespace quillet::testing
