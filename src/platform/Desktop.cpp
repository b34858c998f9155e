#include "platform/Desktop.h"

#include "platform/sessionBus.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QStringList>
#include <QUrl>

#include <chrono>
#include <optional>

namespace quillet {

namespace {

/// Long enough for a file manager that has to be started first.
constexpr std::chrono::milliseconds fileManagerPatience{10'000};

} // namespace

std::filesystem::path desktopFolder() {
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::DesktopLocation);
    if (folder.isEmpty() || !QDir().mkpath(folder)) return {};
    return std::filesystem::path(QFile::encodeName(folder).toStdString());
}

void revealFile(const std::filesystem::path& file) {
    const QString path = QFile::decodeName(QByteArray::fromStdString(file.string()));
    const QUrl folder = QUrl::fromLocalFile(QFile::decodeName(QByteArray::fromStdString(file.parent_path().string())));
    const std::optional<QDBusConnection> bus = sessionBus();
    if (!bus) {
        QDesktopServices::openUrl(folder);
        return;
    }
    // The interface that file managers share: https://www.freedesktop.org/wiki/Specifications/file-manager-interface/
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded)} << QString();
    auto* const watcher =
        new QDBusPendingCallWatcher(bus->asyncCall(call, static_cast<int>(fileManagerPatience.count())));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher, folder] {
        if (watcher->isError()) QDesktopServices::openUrl(folder);
        watcher->deleteLater();
    });
}

} // namespace quillet
