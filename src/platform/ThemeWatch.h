// ThemeWatch.h: the theme that a desktop without a portal has chosen for its programs.
#pragma once

#include <functional>
#include <string>

namespace quillet {

/// Costs nothing while the theme stays. Threads: main, with a running event loop; the callback comes there, the last
/// one before the destructor ends.
class ThemeWatch {
public:
    virtual ~ThemeWatch() = default;

    /// themeName() has changed.
    std::function<void()> onChange;

    /// "Adwaita-dark", for instance; empty where nobody says.
    [[nodiscard]] virtual const std::string& themeName() const = 0;
};

} // namespace quillet
