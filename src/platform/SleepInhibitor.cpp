#include "platform/SleepInhibitor.h"

#include "platform/sessionBus.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusUnixFileDescriptor>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <optional>
#include <utility>

namespace quillet {

namespace {

QString application() { return QStringLiteral("org.quillet.Quillet"); }

QDBusMessage screenSaver(const char* method) {
    // https://specifications.freedesktop.org/idle-inhibit-spec/latest/
    return QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.ScreenSaver"),
                                          QStringLiteral("/org/freedesktop/ScreenSaver"),
                                          QStringLiteral("org.freedesktop.ScreenSaver"), QLatin1String(method));
}

/// `then` gets the answer, an error or not, once.
void ask(const QDBusConnection& bus, const QDBusMessage& call, std::function<void(const QDBusPendingCall&)> then) {
    auto* const watcher = new QDBusPendingCallWatcher(bus.asyncCall(call));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher, then = std::move(then)] {
        then(*watcher);
        watcher->deleteLater();
    });
}

} // namespace

struct SleepInhibitor::Requests : std::enable_shared_from_this<Requests> {
    QString reason;
    bool isOver = false;
    QDBusUnixFileDescriptor sleepLock; // held as long as it is open
    std::optional<quint32> screenSaverCookie;
    std::optional<QDBusObjectPath> portalRequest;

    void askSystem() {
        const QDBusConnection bus = QDBusConnection::systemBus();
        if (!bus.isConnected()) return;
        // https://www.freedesktop.org/wiki/Software/systemd/inhibit/
        QDBusMessage call = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
            QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("Inhibit"));
        call << QStringLiteral("sleep:idle") << QStringLiteral("Quillet") << reason << QStringLiteral("block");
        ask(bus, call, [self = shared_from_this()](const QDBusPendingReply<QDBusUnixFileDescriptor>& reply) {
            if (reply.isValid() && !self->isOver) self->sleepLock = reply.value();
        });
    }

    void askSession() {
        const std::optional<QDBusConnection> bus = sessionBus();
        if (!bus) return;
        QDBusMessage call = screenSaver("Inhibit");
        call << application() << reason;
        ask(*bus, call, [self = shared_from_this(), bus = *bus](const QDBusPendingReply<quint32>& reply) {
            if (!reply.isValid()) {
                if (!self->isOver) self->askPortal(bus);
                return;
            }
            self->screenSaverCookie = reply.value();
            if (self->isOver) self->release();
        });
    }

    void askPortal(const QDBusConnection& bus) {
        // https://flatpak.github.io/xdg-desktop-portal/docs/doc-org.freedesktop.portal.Inhibit.html
        QDBusMessage call = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.portal.Desktop"), QStringLiteral("/org/freedesktop/portal/desktop"),
            QStringLiteral("org.freedesktop.portal.Inhibit"), QStringLiteral("Inhibit"));
        constexpr quint32 suspendAndIdle = 4 | 8;
        call << QString() << suspendAndIdle << QVariantMap{{QStringLiteral("reason"), reason}};
        ask(bus, call, [self = shared_from_this()](const QDBusPendingReply<QDBusObjectPath>& reply) {
            if (!reply.isValid()) return;
            self->portalRequest = reply.value();
            if (self->isOver) self->release();
        });
    }

    void release() {
        isOver = true;
        sleepLock = {};
        const std::optional<QDBusConnection> bus = sessionBus();
        if (!bus) return;
        if (const auto cookie = std::exchange(screenSaverCookie, {})) {
            QDBusMessage call = screenSaver("UnInhibit");
            call << *cookie;
            bus->send(call);
        }
        if (const auto request = std::exchange(portalRequest, {}))
            bus->send(QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.portal.Desktop"), request->path(),
                                                     QStringLiteral("org.freedesktop.portal.Request"),
                                                     QStringLiteral("Close")));
    }
};

SleepInhibitor::SleepInhibitor(const std::string& reason) : requests(std::make_shared<Requests>()) {
    requests->reason = QString::fromStdString(reason);
    requests->askSystem();
    requests->askSession();
}

SleepInhibitor::~SleepInhibitor() { requests->release(); }

} // namespace quillet
