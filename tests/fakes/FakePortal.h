// FakePortal.h: a message bus of the test's own, and a desktop portal on it that tells appearance settings.
#pragma once

#include "tests/fakes/x11/ChildProgram.h"

#include <QDBusConnection>
#include <QString>
#include <QVariant>

#include <memory>
#include <vector>

namespace quillet::testing {

/// A message bus that ends with this object. Threads: main.
class PrivateBus {
public:
    /// Null where there is no dbus-daemon.
    [[nodiscard]] static std::unique_ptr<PrivateBus> start();
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /// One more connection, as of one more program; each name once.
    [[nodiscard]] QDBusConnection connect(const QString& name);

private:
    PrivateBus() = default;
    std::unique_ptr<ChildProgram> daemon;
    QString address;
    std::vector<QString> names;
};

/// Answers org.freedesktop.portal.Settings.ReadAll with what its fields say. Threads: main, with an event loop.
class FakePortal {
public:
    explicit FakePortal(const QDBusConnection& connection,
                        const QString& service = QStringLiteral("org.freedesktop.portal.Desktop"));
    ~FakePortal();
    FakePortal(const FakePortal&) = delete;
    FakePortal& operator=(const FakePortal&) = delete;

    QVariant scheme;            ///< invalid: not set
    std::vector<double> accent; ///< empty: not set
    bool isSilent = false;      ///< answers nothing

    /// Emits SettingChanged.
    void tellChange();
    [[nodiscard]] int questions() const { return asked; }

private:
    class Object;
    QDBusConnection bus;
    QString name;
    std::unique_ptr<Object> object;
    int asked = 0;
};

} // namespace quillet::testing
