#include "BleedwiseApp/updater/MainBundleUpdater.h"

#include "BleedwiseApp/updater/InformationDictionary.h"
#include "BleedwiseApp/updater/Updater.h"
#include "ContentView/SettingsFile.h"

#include <string>
#include <utility>

#include <QDateTime>
#include <QDesktopServices>
#include <QNetworkInterface>
#include <QStandardPaths>
#include <QString>
#include <QSysInfo>
#include <QUrl>

namespace Bleedwise {
namespace {

class Controller : public StandardUpdaterController {
public:
    explicit Controller(Updater::Surroundings surroundings)
        : updater_(std::move(surroundings), Updater::Starting::immediately) {}

    QObject* updater() override { return &updater_; }

private:
    Updater updater_;
};

/// Whether there is an interface that leads out of this computer.
bool isOnline() {
    for (const QNetworkInterface& interface : QNetworkInterface::allInterfaces()) {
        const QNetworkInterface::InterfaceFlags flags = interface.flags();
        if (flags.testFlag(QNetworkInterface::IsRunning) &&
            !flags.testFlag(QNetworkInterface::IsLoopBack))
            return true;
    }
    return false;
}

} // namespace

std::unique_ptr<StandardUpdaterController>
makeMainBundleUpdater(std::function<QSslConfiguration()> tls) {
    const InformationDictionary information = InformationDictionary::ofMainBundle();
    return std::make_unique<Controller>(Updater::Surroundings{
        .feedURL = QUrl(information.text(QStringLiteral("SUFeedURL")).value_or(QString()),
                        QUrl::StrictMode),
        .publicKey = information.text(QStringLiteral("SUPublicEDKey")).value_or(QString()),
        .installedVersion = QStringLiteral(BLEEDWISE_VERSION),
        .systemVersion = QSysInfo::kernelVersion(),
        .settingsDomain = QString::fromStdString(std::string(SettingsFile::standardDomain)),
        .downloadFolder = QStandardPaths::writableLocation(QStandardPaths::DownloadLocation),
        .network = {.tls = std::move(tls), .isOnline = isOnline},
        .now = [] { return QDateTime::currentDateTimeUtc(); },
        .open = [](const QUrl& url) { return QDesktopServices::openUrl(url); }});
}

} // namespace Bleedwise
