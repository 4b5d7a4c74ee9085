#include "ContentView/FileManager.h"

#include <QByteArray>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QString>
#include <QStringList>
#include <QUrl>

namespace Bleedwise::FileManager {
namespace {

/// The file URL of a path, byte for byte: a file name need not be text in any encoding.
QByteArray fileURL(const std::filesystem::path& path) {
    return "file://" + QByteArray::fromStdString(path.native()).toPercentEncoding("/");
}

void openFolder(const std::filesystem::path& file) {
    QDesktopServices::openUrl(QUrl::fromEncoded(fileURL(file.parent_path())));
}

} // namespace

void reveal(const std::filesystem::path& file, const QDBusConnection& bus) {
    if (!bus.isConnected()) {
        openFolder(file);
        return;
    }
    auto request = QDBusMessage::createMethodCall("org.freedesktop.FileManager1",
                                                  "/org/freedesktop/FileManager1",
                                                  "org.freedesktop.FileManager1", "ShowItems");
    request << QStringList{QString::fromLatin1(fileURL(file))} << QString();
    auto* reply = new QDBusPendingCallWatcher(bus.asyncCall(request));
    QObject::connect(reply, &QDBusPendingCallWatcher::finished, reply, [reply, file] {
        if (reply->isError())
            openFolder(file);
        reply->deleteLater();
    });
}

} // namespace Bleedwise::FileManager
