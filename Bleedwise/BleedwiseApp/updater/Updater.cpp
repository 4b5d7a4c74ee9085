#include "BleedwiseApp/updater/Updater.h"

#include "BleedwiseApp/updater/ReleaseNotes.h"
#include "BleedwiseApp/updater/UpdateError.h"
#include "BleedwiseApp/updater/VersionComparison.h"
#include "ContentView/SettingsStore.h"

#include <algorithm>
#include <chrono>
#include <compare>
#include <utility>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QIODevice>
#include <QLocale>
#include <QMetaObject>
#include <QPointer>
#include <QVariantMap>

namespace Bleedwise {
namespace {

using namespace std::chrono_literals;

const QString launchedKey = QStringLiteral("SUHasLaunchedBefore");
const QString automaticKey = QStringLiteral("SUEnableAutomaticChecks");
const QString lastCheckKey = QStringLiteral("SULastCheckTime");
const QString installTitle = QStringLiteral("The update cannot be installed");
const QString skippedKey = QStringLiteral("SUSkippedVersion");

constexpr std::chrono::seconds checkInterval = 24h;
/// A computer sleeps, its clock is set, and a check fails: so the timer is not set to the whole
/// time.
constexpr std::chrono::seconds longestWait = 1h;
constexpr qint64 largestNotes = 512 << 10;

bool has(const SettingsStore& settings, const QString& key) {
    return settings.boolean(key, false) == settings.boolean(key, true);
}

QString sizeText(qint64 bytes) {
    return QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

/// As a person would write it.
QString shownPath(const QString& file) {
    const QString home = QDir::homePath() + u'/';
    return file.startsWith(home) ? QStringLiteral("~/") + file.mid(home.size()) : file;
}

} // namespace

Updater::Updater(Surroundings surroundings, Starting starting)
    : surroundings_(std::move(surroundings)) {
    connect(&schedule_, &QTimer::timeout, this, &Updater::checkIfDue);
    if (starting == Starting::immediately)
        QMetaObject::invokeMethod(this, &Updater::start, Qt::QueuedConnection);
}

Updater::~Updater() = default;

void Updater::start() {
    // What uses the network must not outlive the application object, which this one may do.
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this, &Updater::stop);
    askOrSchedule();
}

// The checks that nobody asked for.

void Updater::askOrSchedule() {
    SettingsStore settings(surroundings_.settingsDomain);
    if (settings.boolean(automaticKey, false))
        scheduleChecks();
    else if (!has(settings, automaticKey) && settings.boolean(launchedKey, false))
        askForPermission();
    if (!settings.boolean(launchedKey, false))
        settings.setBoolean(launchedKey, true);
}

void Updater::askForPermission() {
    present({.title = QStringLiteral("Check for updates automatically?"),
             .message = QStringLiteral(
                 "Bleedwise can look for a new version once a day. It sends nothing about you or "
                 "your files. You can look at any time from the application menu, and change "
                 "your answer there."),
             .notes = {},
             .actions = {{QStringLiteral("decline"), QStringLiteral("Don’t Check")},
                         {QStringLiteral("agree"), QStringLiteral("Check Automatically")}},
             .isAskedFor = false});
}

bool Updater::checksAutomatically() const {
    return SettingsStore(surroundings_.settingsDomain).boolean(automaticKey, false);
}

void Updater::setChecksAutomatically(bool checks) {
    SettingsStore(surroundings_.settingsDomain).setBoolean(automaticKey, checks);
    if (checks)
        scheduleChecks();
    else
        schedule_.stop();
    emit checksAutomaticallyChanged();
}

void Updater::scheduleChecks() {
    checkIfDue();
    schedule_.start(longestWait);
}

void Updater::checkIfDue() {
    const SettingsStore settings(
        surroundings_.settingsDomain); // perhaps another window has checked, or is to check no more
    if (!settings.boolean(automaticKey, false))
        return;
    const QDateTime last =
        QDateTime::fromString(settings.text(lastCheckKey, {}), Qt::ISODate).toUTC();
    const QDateTime now = surroundings_.now().toUTC();
    const bool isDue = !last.isValid() || last > now || last.secsTo(now) >= checkInterval.count();
    if (isDue && !download_ && !packageDownload_ && !panel_ && !waitingPanel_)
        check(Kind::scheduled);
}

// A check.

void Updater::checkForUpdates() {
    if (packageDownload_ || !package_.fileName().isEmpty())
        return; // its panel is there, or will be
    if (waitingPanel_)
        showWaiting();
    else if (download_ && kind_ == Kind::scheduled) {
        kind_ = Kind::manual;
        showChecking();
    } else if (!download_) {
        check(Kind::manual);
    }
}

void Updater::check(Kind kind) {
    kind_ = kind;
    if (kind == Kind::manual)
        showChecking();
    received_.clear();
    download_ = std::make_unique<SecureDownload>(
        network(), surroundings_.network,
        SecureDownload::Request{surroundings_.feedURL, QStringLiteral("update server"),
                                Appcast::largestFeed, 1min},
        SecureDownload::Listener{[this](QByteArrayView piece) {
                                     received_.append(piece);
                                     return true;
                                 },
                                 [this](const QString& failure) {
                                     const auto download = std::move(download_);
                                     if (failure.isEmpty())
                                         decide(download->finalURL());
                                     else
                                         failCheck(failure);
                                 }});
}

void Updater::showWaiting() {
    if (!package_.fileName().isEmpty()) {
        show(Panel{.title = waitingPanel_->title,
                   .message = QStringLiteral("Its signature is right. You can open it when the "
                                             "files have been converted."),
                   .notes = {},
                   .actions = {{QStringLiteral("keep"), QStringLiteral("Not Now")}}});
    } else if (waitingPanel_->title == installTitle) {
        show(Panel{.title = installTitle,
                   .message =
                       QStringLiteral("The reason is shown when the files have been converted."),
                   .notes = {},
                   .actions = {{QStringLiteral("close"), QStringLiteral("OK")}}});
    } else {
        showChecking();
        panel_->message = QStringLiteral("The answer is shown when the files have been converted.");
        emit panelChanged();
    }
}

void Updater::showChecking() {
    setProgress(-1, {});
    show(Panel{.title = QStringLiteral("Checking for updates…"),
               .message = {},
               .notes = {},
               .actions = {{QStringLiteral("cancel"), QStringLiteral("Cancel")}},
               .isBusy = true});
}

void Updater::decide(const QUrl& feedURL) {
    try {
        const std::vector<AppcastItem> items = Appcast::parse(received_, feedURL);
        received_.clear();
        noteCheck();
        const AppcastItem* best = Appcast::best(items, surroundings_.systemVersion);
        if (!best || std::is_lteq(VersionComparison::compare(best->version,
                                                             surroundings_.installedVersion))) {
            presentNothingNew(best);
        } else if (kind_ == Kind::manual || !isSkipped(best->version)) {
            item_ = *best;
            fetchNotes();
        }
    } catch (const UpdateError& error) {
        failCheck(error.sentence());
    }
}

void Updater::noteCheck() {
    SettingsStore(surroundings_.settingsDomain)
        .setText(lastCheckKey, surroundings_.now().toUTC().toString(Qt::ISODate));
}

void Updater::presentNothingNew(const AppcastItem* newest) {
    if (kind_ == Kind::scheduled)
        return;
    const QString& installed = surroundings_.installedVersion;
    const bool isNewer =
        newest && std::is_lt(VersionComparison::compare(newest->version, installed));
    present({.title = QStringLiteral("You’re up to date"),
             .message = isNewer
                            ? QStringLiteral("Your version of Bleedwise, %1, is newer than the "
                                             "newest one on offer, %2.")
                                  .arg(installed, newest->displayVersion())
                            : QStringLiteral("Bleedwise %1 is the newest version.").arg(installed),
             .notes = {},
             .actions = {{QStringLiteral("close"), QStringLiteral("OK")}},
             .offersAutomaticChecks = true});
}

bool Updater::isSkipped(const QString& version) const {
    const QString skipped = SettingsStore(surroundings_.settingsDomain).text(skippedKey, {});
    return !skipped.isEmpty() && std::is_eq(VersionComparison::compare(version, skipped));
}

void Updater::fetchNotes() {
    if (!item_->description.isEmpty()) {
        presentUpdate(item_->descriptionIsPlain ? ReleaseNotes::fromPlainText(item_->description)
                                                : ReleaseNotes::fromHTML(item_->description));
        return;
    }
    if (item_->releaseNotesURL.scheme() != QLatin1String("https")) {
        presentUpdate({});
        return;
    }
    received_.clear();
    download_ = std::make_unique<SecureDownload>(
        network(), surroundings_.network,
        SecureDownload::Request{item_->releaseNotesURL, QStringLiteral("update server"),
                                largestNotes, 20s},
        SecureDownload::Listener{
            [this](QByteArrayView piece) {
                received_.append(piece);
                return true;
            },
            [this](const QString& failure) {
                const auto download = std::move(download_);
                const QString text = QString::fromUtf8(std::exchange(received_, {}));
                if (!failure.isEmpty()) // an update without its notes is still one
                    presentUpdate(ReleaseNotes::fromPlainText(item_->releaseNotesURL.toString()));
                else if (download->mediaType().startsWith(QLatin1String("text/plain")))
                    presentUpdate(ReleaseNotes::fromPlainText(text));
                else
                    presentUpdate(ReleaseNotes::fromHTML(text));
            }});
}

void Updater::presentUpdate(const QString& notes) {
    present({.title = QStringLiteral("A new version of Bleedwise is available"),
             .message = QStringLiteral("You have version %1, and version %2 is out.")
                            .arg(surroundings_.installedVersion, item_->displayVersion()),
             .notes = notes,
             .actions = {{QStringLiteral("later"), QStringLiteral("Remind Me Later")},
                         {QStringLiteral("skip"), QStringLiteral("Skip This Version")},
                         {QStringLiteral("install"), QStringLiteral("Install Update")}},
             .isAskedFor = kind_ == Kind::manual,
             .offersAutomaticChecks = true});
}

void Updater::failCheck(const QString& failure) {
    if (kind_ == Kind::manual)
        present({.title = QStringLiteral("The check for updates failed"),
                 .message = failure,
                 .notes = {},
                 .actions = {{QStringLiteral("close"), QStringLiteral("OK")}},
                 .offersAutomaticChecks = true});
}

// The package.

void Updater::install() {
    try {
        Package::requireInstallable(*item_, surroundings_.publicKey);
    } catch (const UpdateError& error) {
        show(std::nullopt);
        failInstallation(error.sentence());
        return;
    }
    show(Panel{.title = QStringLiteral("Downloading version %1…").arg(item_->displayVersion()),
               .message = {},
               .notes = {},
               .actions = {{QStringLiteral("cancel"), QStringLiteral("Cancel")}},
               .isBusy = true});
    showProgress(0);
    packageDownload_ = std::make_unique<PackageDownload>(
        network(), surroundings_.network, *item_, surroundings_.publicKey,
        surroundings_.downloadFolder,
        PackageDownload::Listener{[this](qint64 received) { showProgress(received); },
                                  [this](const QString& file, const QString& failure) {
                                      const auto download = std::move(packageDownload_);
                                      if (failure.isEmpty())
                                          presentPackage(file);
                                      else
                                          failInstallation(failure);
                                  }});
}

void Updater::failInstallation(const QString& failure) {
    present({.title = installTitle,
             .message = failure,
             .notes = {},
             .actions = {{QStringLiteral("close"), QStringLiteral("OK")}}});
}

void Updater::showProgress(qint64 received) {
    if (received == item_->length)
        setProgress(1, QStringLiteral("Verifying…"));
    else
        setProgress(static_cast<double>(received) / static_cast<double>(item_->length),
                    QStringLiteral("%1 of %2").arg(sizeText(received), sizeText(item_->length)));
}

void Updater::presentPackage(const QString& file) {
    package_.setFileName(file);
    present({.title = QStringLiteral("Version %1 is ready").arg(item_->displayVersion()),
             .message = QStringLiteral("Its signature is right. It is in %1. Open it with the "
                                       "system’s installer now?")
                            .arg(shownPath(file)),
             .notes = {},
             .actions = {{QStringLiteral("keep"), QStringLiteral("Not Now")},
                         {QStringLiteral("open"), QStringLiteral("Open Installer")}}});
}

void Updater::verifyAgain() {
    show(std::nullopt);
    // It lay where whoever is this user can write, perhaps for days.
    if (!package_.open(QIODevice::ReadOnly)) {
        package_.setFileName({});
        failInstallation(QStringLiteral("The downloaded update is no longer there."));
        return;
    }
    verification_ = std::make_unique<PackageVerification>(
        package_, *item_, surroundings_.publicKey,
        [this](const QString& problem) { openPackage(problem); });
}

void Updater::openPackage(const QString& problem) {
    const auto verification = std::move(verification_);
    package_.close();
    const QString name = package_.fileName();
    package_.setFileName({});
    if (!problem.isEmpty()) {
        QFile::remove(name);
        failInstallation(problem);
    } else {
        // Perhaps the system takes as long as its installer is open.
        surroundings_.open(QUrl::fromLocalFile(name), [self = QPointer(this), name] {
            if (self)
                self->presentFailureToOpen(name);
        });
    }
}

void Updater::presentFailureToOpen(const QString& file) {
    failInstallation(QStringLiteral("The system has nothing to open the package with. "
                                    "It is in %1.")
                         .arg(shownPath(file)));
}

// The panel.

void Updater::setBatchIsRunning(bool running) {
    if (batchIsRunning_ == running)
        return;
    batchIsRunning_ = running;
    emit batchIsRunningChanged();
    if (running || !waitingPanel_)
        return;
    if (!panel_)
        waitingPanel_->isAskedFor = false; // the user has gone on to something else
    show(std::exchange(waitingPanel_, std::nullopt));
}

void Updater::present(Panel panel) {
    if (!batchIsRunning_) {
        show(std::move(panel));
        return;
    }
    waitingPanel_ = std::move(panel);
    if (panel_)
        showWaiting();
}

void Updater::show(std::optional<Panel> panel) {
    panel_ = std::move(panel);
    emit panelChanged();
    emit checksAutomaticallyChanged(); // perhaps in another window, since the last panel
}

void Updater::setProgress(double progress, const QString& text) {
    progress_ = progress;
    progressText_ = text;
    emit progressChanged();
}

QVariantList Updater::actions() const {
    QVariantList list;
    if (!panel_)
        return list;
    for (const Action& action : panel_->actions)
        list.append(QVariantMap{{QStringLiteral("name"), action.name},
                                {QStringLiteral("text"), action.text},
                                {QStringLiteral("prominent"),
                                 action.name == panel_->actions.back().name && !panel_->isBusy}});
    return list;
}

void Updater::perform(const QString& action) {
    const auto isOffered = [&](const Action& offered) { return offered.name == action; };
    if (!panel_ || std::none_of(panel_->actions.begin(), panel_->actions.end(), isOffered))
        return;
    if (action == QLatin1String("install")) {
        install();
    } else if (action == QLatin1String("open")) {
        verifyAgain();
    } else if (action == QLatin1String("cancel")) {
        cancel();
    } else {
        if (action == QLatin1String("skip"))
            SettingsStore(surroundings_.settingsDomain).setText(skippedKey, item_->version);
        if (action == QLatin1String("keep")) {
            package_.setFileName({});
            waitingPanel_.reset();
        }
        show(std::nullopt);
        if (action == QLatin1String("agree") || action == QLatin1String("decline"))
            setChecksAutomatically(action == QLatin1String("agree"));
    }
}

void Updater::dismiss() {
    if (!panel_)
        return;
    const QString first = panel_->actions.front().name;
    if (first == QLatin1String("decline"))
        show(std::nullopt); // no answer: the next start asks again
    else
        perform(first);
}

void Updater::openLink(const QString& address) {
    const QUrl url(address, QUrl::StrictMode);
    if (url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http"))
        surroundings_.open(url, [] {});
}

void Updater::cancel() {
    download_.reset();
    packageDownload_.reset();
    waitingPanel_.reset();
    show(std::nullopt);
}

void Updater::stop() {
    schedule_.stop();
    download_.reset();
    packageDownload_.reset();
    verification_.reset();
    network_.reset();
}

QNetworkAccessManager& Updater::network() {
    if (!network_)
        network_ = std::make_unique<QNetworkAccessManager>();
    return *network_;
}

} // namespace Bleedwise
