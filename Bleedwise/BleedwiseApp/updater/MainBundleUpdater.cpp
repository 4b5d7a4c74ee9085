#include "BleedwiseApp/updater/MainBundleUpdater.h"

#include "BleedwiseApp/updater/InformationDictionary.h"
#include "BleedwiseApp/updater/Updater.h"
#include "ContentView/SettingsFile.h"

#include <string>
#include <utility>

#include <QDateTime>
#include <QNetworkInterface>
#include <QObject>
#include <QProcess>
#include <QStandardPaths>
#include <QString>
#include <QStringList>
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

/// With the program that desktops have for it, whose exit says whether there was anything to open
/// it with. What it starts goes on after the end of this program: so nothing that lives as long as
/// the program owns the process, which Qt would end with its owner.
void open(const QUrl& url, const std::function<void()>& failed) {
    auto* process = new QProcess;
    QObject::connect(process, &QProcess::finished, process,
                     [process, failed](int status, QProcess::ExitStatus exit) {
                         process->deleteLater();
                         if (exit != QProcess::NormalExit || status != 0)
                             failed();
                     });
    QObject::connect(process, &QProcess::errorOccurred, process,
                     [process, failed](QProcess::ProcessError error) {
                         if (error != QProcess::FailedToStart)
                             return;
                         // From the event loop, and before the process is deleted there.
                         QMetaObject::invokeMethod(
                             process, [failed] { failed(); }, Qt::QueuedConnection);
                         process->deleteLater();
                     });
    process->setProcessChannelMode(QProcess::ForwardedChannels);
    process->setStandardInputFile(QProcess::nullDevice());
    process->start(QStringLiteral("xdg-open"), {url.toString(QUrl::FullyEncoded)});
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
        .open = open});
}

} // namespace Bleedwise
