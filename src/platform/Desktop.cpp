#include "platform/Desktop.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QStringList>
#include <QUrl>

namespace quillet {

std::filesystem::path desktopFolder() {
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::DesktopLocation);
    if (folder.isEmpty() || !QDir().mkpath(folder)) return {};
    return std::filesystem::path(QFile::encodeName(folder).toStdString());
}

void revealFile(const std::filesystem::path& file) {
    const QString path = QFile::decodeName(QByteArray::fromStdString(file.string()));
    const QUrl folder = QUrl::fromLocalFile(QFile::decodeName(QByteArray::fromStdString(file.parent_path().string())));
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        QDesktopServices::openUrl(folder);
        return;
    }
    // The interface that file managers share: https://www.freedesktop.org/wiki/Specifications/file-manager-interface/
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded)} << QString();
    auto* const watcher = new QDBusPendingCallWatcher(bus.asyncCall(call));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher, folder] {
        if (watcher->isError()) QDesktopServices::openUrl(folder);
        watcher->deleteLater();
    });
}

} // namespace quillet
