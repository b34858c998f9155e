#include "platform/Appearance.h"

#include "platform/chooseWindowing.h"
#include "platform/sessionBus.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QString>
#include <QTimer>
#include <QVariantMap>

#include <algorithm>
#include <array>
#include <cctype>
#include <string>
#include <utility>

namespace quillet {

namespace {

using Scheme = AppearanceWishes::Scheme;

// https://flatpak.github.io/xdg-desktop-portal/docs/doc-org.freedesktop.portal.Settings.html
QString portal() { return QStringLiteral("org.freedesktop.portal.Desktop"); }
QString path() { return QStringLiteral("/org/freedesktop/portal/desktop"); }
QString interface() { return QStringLiteral("org.freedesktop.portal.Settings"); }
QString space() { return QStringLiteral("org.freedesktop.appearance"); }

Scheme schemeIn(const QVariant& value) {
    constexpr uint dark = 1;
    constexpr uint light = 2;
    if (value.typeId() != QMetaType::UInt) return Scheme::unsaid;
    return value.toUInt() == dark ? Scheme::dark : (value.toUInt() == light ? Scheme::light : Scheme::unsaid);
}

/// Three shares of red, green and blue in sRGB; shares out of range mean that no colour is set.
std::optional<QColor> accentIn(const QVariant& value) {
    if (value.userType() != qMetaTypeId<QDBusArgument>()) return std::nullopt;
    const auto argument = value.value<QDBusArgument>();
    if (argument.currentSignature() != QLatin1String("(ddd)")) return std::nullopt;
    std::array<double, 3> shares{};
    argument.beginStructure();
    for (double& share : shares)
        argument >> share;
    argument.endStructure();
    if (!std::ranges::all_of(shares, [](double share) { return share >= 0 && share <= 1; })) return std::nullopt;
    return QColor::fromRgbF(static_cast<float>(shares[0]), static_cast<float>(shares[1]),
                            static_cast<float>(shares[2]));
}

AppearanceWishes wishesIn(const QDBusMessage& answer) {
    if (answer.type() != QDBusMessage::ReplyMessage || answer.signature() != QLatin1String("a{sa{sv}}")) return {};
    const auto spaces = qdbus_cast<QMap<QString, QVariantMap>>(answer.arguments().constFirst());
    const QVariantMap settings = spaces.value(space());
    return {.scheme = schemeIn(settings.value(QStringLiteral("color-scheme"))),
            .accent = accentIn(settings.value(QStringLiteral("accent-color")))};
}

/// Themes come in pairs, "Adwaita" and "Adwaita-dark" or "Yaru-Dark-Blue". One that does not say so may have any
/// colour.
Scheme schemeOfTheme(std::string name) {
    std::ranges::transform(name, name.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return name.find("dark") != std::string::npos ? Scheme::dark : Scheme::unsaid;
}

} // namespace

struct Appearance::Sources {
    Sources(Appearance& user, const std::optional<QDBusConnection>& sessionBus)
        : owner(user), bus(sessionBus), theme(makeThemeWatch()) {
        settled = combined();
        theme->onChange = [this] { settle(); };
        if (!bus) return;
        ask();
        // Any number of changes is one new question. The sender is left open: naming it would ask the bus for its
        // address and wait for the answer.
        again.setSingleShot(true);
        again.setInterval(0);
        QObject::connect(&again, &QTimer::timeout, &again, [this] { ask(); });
        bus->connect(QString(), path(), interface(), QStringLiteral("SettingChanged"), {space()}, QStringLiteral("ssv"),
                     &again, SLOT(start()));
    }

    void ask() {
        QDBusMessage call = QDBusMessage::createMethodCall(portal(), path(), interface(), QStringLiteral("ReadAll"));
        call << QStringList{space()};
        pending = std::make_unique<QDBusPendingCallWatcher>(bus->asyncCall(call));
        QObject::connect(pending.get(), &QDBusPendingCallWatcher::finished, &again, [this] {
            said = wishesIn(pending->reply());
            settle();
        });
    }

    [[nodiscard]] AppearanceWishes combined() const {
        AppearanceWishes wishes = said;
        if (wishes.scheme == Scheme::unsaid) wishes.scheme = schemeOfTheme(theme->themeName());
        return wishes;
    }

    void settle() {
        if (const AppearanceWishes now = combined(); now != std::exchange(settled, now) && owner.onChange)
            owner.onChange();
    }

    Appearance& owner;
    std::optional<QDBusConnection> bus;
    const std::unique_ptr<ThemeWatch> theme;
    AppearanceWishes said; ///< by the portal
    AppearanceWishes settled;
    QTimer again;
    std::unique_ptr<QDBusPendingCallWatcher> pending; ///< the newest question; what older ones get is not read
};

Appearance::Appearance() : Appearance(sessionBus()) {}

Appearance::Appearance(const std::optional<QDBusConnection>& bus) : sources(std::make_unique<Sources>(*this, bus)) {}

Appearance::~Appearance() = default;

const AppearanceWishes& Appearance::wishes() const { return sources->settled; }

} // namespace quillet
