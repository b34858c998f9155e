// Appearance.h: the colours that the user has chosen for all programs.
#pragma once

#include <QColor>
#include <QDBusConnection>

#include <functional>
#include <memory>
#include <optional>

namespace quillet {

/// What the user wants; what they have not said is left to the toolkit.
struct AppearanceWishes {
    enum class Scheme { unsaid, light, dark };
    Scheme scheme = Scheme::unsaid;
    std::optional<QColor> accent;

    friend bool operator==(const AppearanceWishes&, const AppearanceWishes&) = default;
};

/// Follows the desktop portal's settings "color-scheme" and "accent-color"; where those leave the scheme open, the name
/// of the desktop's theme (ThemeWatch). Asks without waiting: until the portal has answered, only the theme counts.
///
/// Threads: main, with a running event loop; the callback comes there, the last one before the destructor ends.
class Appearance {
public:
    /// On the session's bus, if there is one.
    Appearance();
    explicit Appearance(const std::optional<QDBusConnection>& bus);
    ~Appearance();
    Appearance(const Appearance&) = delete;
    Appearance& operator=(const Appearance&) = delete;

    /// wishes() have changed.
    std::function<void()> onChange;

    [[nodiscard]] const AppearanceWishes& wishes() const;

private:
    struct Sources;
    const std::unique_ptr<Sources> sources;
};

} // namespace quillet
