#include "ContentView/FileManager.h"

#include "ContentView/FileURL.h"

#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QString>
#include <QStringList>
#include <QUrl>

namespace Bleedwise::FileManager {
namespace {

void openFolder(const std::filesystem::path& file) {
    QDesktopServices::openUrl(FileURL::url(file.parent_path()));
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
    request << QStringList{QString::fromLatin1(FileURL::url(file).toEncoded())} << QString();
    auto* reply = new QDBusPendingCallWatcher(bus.asyncCall(request));
    QObject::connect(reply, &QDBusPendingCallWatcher::finished, reply, [reply, file] {
        if (reply->isError())
            openFolder(file);
        reply->deleteLater();
    });
}

} // namespace Bleedwise::FileManager
