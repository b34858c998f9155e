#include "tests/fakes/FakePortal.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>

#include <array>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace quillet::testing {

namespace {

QString path() { return QStringLiteral("/org/freedesktop/portal/desktop"); }
QString interface() { return QStringLiteral("org.freedesktop.portal.Settings"); }
QString space() { return QStringLiteral("org.freedesktop.appearance"); }

QVariant structureOf(const std::vector<double>& numbers) {
    QDBusArgument structure;
    structure.beginStructure();
    for (const double number : numbers)
        structure << number;
    structure.endStructure();
    return QVariant::fromValue(structure);
}

} // namespace

std::unique_ptr<PrivateBus> PrivateBus::start() {
    std::unique_ptr<PrivateBus> bus(new PrivateBus);
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return nullptr;
    bus->daemon =
        ChildProgram::start({.arguments = {"dbus-daemon", "--session", "--nofork", "--nopidfile", "--nosyslog",
                                           "--print-address=" + std::to_string(ends[1]), "--address=unix:tmpdir=/tmp"},
                             .environment = {},
                             .inheritedDescriptor = ends[1]});
    ::close(ends[1]);
    std::string line;
    for (char letter = 0; ::read(ends[0], &letter, 1) == 1 && letter != '\n';)
        line += letter;
    ::close(ends[0]);
    if (!bus->daemon || line.empty()) return nullptr;
    bus->address = QString::fromStdString(line);
    return bus;
}

PrivateBus::~PrivateBus() {
    for (const QString& name : names)
        QDBusConnection::disconnectFromBus(name);
}

QDBusConnection PrivateBus::connect(const QString& name) {
    names.push_back(name);
    return QDBusConnection::connectToBus(address, name);
}

class FakePortal::Object : public QDBusVirtualObject {
public:
    explicit Object(FakePortal& portal) : owner(portal) {}

    [[nodiscard]] QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        if (message.interface() != interface() || message.member() != QLatin1String("ReadAll")) return false;
        ++owner.asked;
        if (owner.isSilent) return true;
        QDBusArgument spaces;
        spaces.beginMap(QMetaType::fromType<QString>(), QMetaType::fromType<QVariantMap>());
        spaces.beginMapEntry();
        spaces << space();
        QVariantMap settings;
        if (owner.scheme.isValid()) settings.insert(QStringLiteral("color-scheme"), owner.scheme);
        if (!owner.accent.empty()) settings.insert(QStringLiteral("accent-color"), structureOf(owner.accent));
        spaces << settings;
        spaces.endMapEntry();
        spaces.endMap();
        connection.send(message.createReply(QVariant::fromValue(spaces)));
        return true;
    }

private:
    FakePortal& owner;
};

FakePortal::FakePortal(const QDBusConnection& connection, const QString& service)
    : bus(connection), name(service), object(std::make_unique<Object>(*this)) {
    bus.registerVirtualObject(path(), object.get());
    bus.registerService(name);
}

FakePortal::~FakePortal() {
    bus.unregisterObject(path());
    bus.unregisterService(name);
}

void FakePortal::tellChange() {
    QDBusMessage signal = QDBusMessage::createSignal(path(), interface(), QStringLiteral("SettingChanged"));
    signal << space() << QStringLiteral("color-scheme") << QVariant::fromValue(QDBusVariant(0U));
    bus.send(signal);
}

} // namespace quillet::testing
