#include "app/SingleInstance.h"

#include "platform/sessionBus.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QVariantMap>

#include <chrono>

namespace quillet {

namespace {

// https://specifications.freedesktop.org/desktop-entry-spec/latest/dbus.html
QString name() { return QStringLiteral("org.quillet.Quillet"); }
QString path() { return QStringLiteral("/org/quillet/Quillet"); }
QString interface() { return QStringLiteral("org.freedesktop.Application"); }

/// A copy that does not answer by then is stuck.
constexpr std::chrono::milliseconds patience{2000};

} // namespace

class SingleInstance::Object : public QDBusVirtualObject {
public:
    explicit Object(const SingleInstance& instance) : owner(instance) {}

    [[nodiscard]] QString introspect(const QString&) const override {
        return QStringLiteral("<interface name=\"org.freedesktop.Application\">"
                              "<method name=\"Activate\"><arg type=\"a{sv}\" name=\"platform_data\" direction=\"in\"/>"
                              "</method></interface>");
    }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        if (message.interface() != interface() || message.member() != QLatin1String("Activate")) return false;
        connection.send(message.createReply());
        if (owner.onActivate) owner.onActivate();
        return true;
    }

private:
    const SingleInstance& owner;
};

SingleInstance::SingleInstance() = default;

std::unique_ptr<SingleInstance> SingleInstance::make() {
    std::unique_ptr<SingleInstance> instance(new SingleInstance);
    std::optional<QDBusConnection> bus = sessionBus();
    if (!bus) return instance;

    instance->object = std::make_unique<Object>(*instance);
    bus->registerVirtualObject(path(), instance->object.get());
    const auto reply = bus->interface()->registerService(name(), QDBusConnectionInterface::DontQueueService,
                                                         QDBusConnectionInterface::DontAllowReplacement);
    if (reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered) return instance;
    bus->unregisterObject(path());
    instance->object.reset();
    if (!reply.isValid()) return instance;

    QDBusMessage call = QDBusMessage::createMethodCall(name(), path(), interface(), QStringLiteral("Activate"));
    call << QVariantMap();
    call.setAutoStartService(false);
    const QDBusMessage answer = bus->call(call, QDBus::Block, static_cast<int>(patience.count()));
    if (answer.type() == QDBusMessage::ReplyMessage) return nullptr;
    return instance;
}

SingleInstance::~SingleInstance() {
    if (!object) return;
    std::optional<QDBusConnection> bus = sessionBus();
    if (!bus) return;
    bus->interface()->unregisterService(name());
    bus->unregisterObject(path());
}

} // namespace quillet
