#pragma once

#include "BleedwiseApp/updater/Appcast.h"
#include "BleedwiseApp/updater/PackageDownload.h"
#include "BleedwiseApp/updater/SecureDownload.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QDateTime>
#include <QFile>
#include <QNetworkAccessManager>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QUrl>
#include <QVariantList>

namespace Bleedwise {

/// Looks for new versions of the program and fetches them, and is at the same time what the window
/// shows of that: one panel, or none.
///
/// Checks when it is told to, and once a day by itself when the user has agreed, who is asked from
/// the second start on, until there is an answer, and can change it wherever a check ends. A check
/// by itself says nothing unless there is something new; one that fails is made again an hour
/// later. What there is to say while a batch of files is converted waits until that is over.
/// Nothing here waits other than in the event loop, and nothing that was fetched is ever run: a
/// package whose length and signature are right is given to the system to open, after asking.
///
/// Keeps in the settings: "SUHasLaunchedBefore"; "SUEnableAutomaticChecks", there from the answer
/// on; "SULastCheckTime", of the last feed that could be read, a text, ISO 8601 in UTC;
/// "SUSkippedVersion", a text.
///
/// Can be made before there is an application object. Main thread.
class Updater : public QObject {
    Q_OBJECT

    Q_PROPERTY(bool batchIsRunning READ batchIsRunning WRITE setBatchIsRunning NOTIFY
                   batchIsRunningChanged)
    Q_PROPERTY(bool showing READ isShowing NOTIFY panelChanged)
    Q_PROPERTY(QString title READ title NOTIFY panelChanged)
    Q_PROPERTY(QString message READ message NOTIFY panelChanged)
    Q_PROPERTY(QString notes READ notes NOTIFY panelChanged)
    Q_PROPERTY(QVariantList actions READ actions NOTIFY panelChanged)
    Q_PROPERTY(bool busy READ isBusy NOTIFY panelChanged)
    Q_PROPERTY(bool askedFor READ isAskedFor NOTIFY panelChanged)
    Q_PROPERTY(bool offersAutomaticChecks READ offersAutomaticChecks NOTIFY panelChanged)
    Q_PROPERTY(bool checksAutomatically READ checksAutomatically WRITE setChecksAutomatically NOTIFY
                   checksAutomaticallyChanged)
    Q_PROPERTY(double progress READ progress NOTIFY progressChanged)
    Q_PROPERTY(QString progressText READ progressText NOTIFY progressChanged)

public:
    /// What it works with.
    struct Surroundings {
        QUrl feedURL;
        /// "SUPublicEDKey": Ed25519, in base64.
        QString publicKey;
        QString installedVersion;
        /// What `sparkle:minimumSystemVersion` is about.
        QString systemVersion;
        QString settingsDomain;
        /// Where packages go.
        QString downloadFolder;
        DownloadSurroundings network;
        std::function<QDateTime()> now;
        /// Has the system open a file or an address, and calls `failed`, from the event loop and
        /// once at most, when it cannot.
        std::function<void(const QUrl&, const std::function<void()>& failed)> open;
    };

    enum class Starting { immediately, onDemand };

    /// When it starts, it does so with the event loop: it asks its question, or begins with the
    /// checks that are due.
    Updater(Surroundings surroundings, Starting starting);
    ~Updater() override;

    /// What is due at the start of the program.
    void start();

    /// The menu's command. Shows where things are when a check or a download is under way.
    Q_INVOKABLE void checkForUpdates();

    bool batchIsRunning() const { return batchIsRunning_; }
    void setBatchIsRunning(bool running);

    // The panel. Its title, its message and its notes are empty where there is nothing to say.

    bool isShowing() const { return panel_.has_value(); }
    QString title() const { return panel_ ? panel_->title : QString(); }
    QString message() const { return panel_ ? panel_->message : QString(); }
    /// As `ReleaseNotes` makes them.
    QString notes() const { return panel_ ? panel_->notes : QString(); }
    /// From the least to the most likely one: maps with "name", for `perform`, "text", and
    /// "prominent".
    QVariantList actions() const;
    /// Whether there is progress to be shown.
    bool isBusy() const { return panel_ && panel_->isBusy; }
    /// Whether the panel follows what the user did here, and may take the keyboard.
    bool isAskedFor() const { return panel_ && panel_->isAskedFor; }
    /// Whether the panel is a place to say whether to check automatically.
    bool offersAutomaticChecks() const { return panel_ && panel_->offersAutomaticChecks; }
    /// The answer to the question; false without one.
    bool checksAutomatically() const;
    /// Answers the question, if it has not been answered.
    void setChecksAutomatically(bool checks);
    /// From 0 to 1; below 0 while nobody knows.
    double progress() const { return progress_; }
    QString progressText() const { return progressText_; }

    /// One of the actions that the panel has. Any other name is passed over.
    Q_INVOKABLE void perform(const QString& action);
    /// Closes the panel by the action that decides nothing, such as Cancel or Remind Me Later, and
    /// the question without an answer.
    Q_INVOKABLE void dismiss();
    /// Opens an address of the notes in the user's browser.
    Q_INVOKABLE void openLink(const QString& address);

signals:
    void batchIsRunningChanged();
    void panelChanged();
    void checksAutomaticallyChanged();
    void progressChanged();

private:
    struct Action {
        QString name;
        QString text;
    };
    struct Panel {
        QString title;
        QString message;
        QString notes;
        /// The last one is the prominent one; the first one dismisses.
        std::vector<Action> actions;
        bool isBusy = false;
        bool isAskedFor = true;
        bool offersAutomaticChecks = false;
    };
    enum class Kind { manual, scheduled };

    void askOrSchedule();
    void askForPermission();
    void scheduleChecks();
    void checkIfDue();

    void check(Kind kind);
    void showWaiting();
    void showChecking();
    void decide(const QUrl& feedURL);
    void noteCheck();
    void presentNothingNew(const AppcastItem* newest);
    void fetchNotes();
    void presentUpdate(const QString& notes);
    void failCheck(const QString& failure);
    bool isSkipped(const QString& version) const;

    void install();
    void failInstallation(const QString& failure);
    void showProgress(qint64 received);
    void presentPackage(const QString& file);
    void verifyAgain();
    void openPackage(const QString& problem);
    void presentFailureToOpen(const QString& file);

    void present(Panel panel);
    void show(std::optional<Panel> panel);
    void setProgress(double progress, const QString& text);
    void cancel();
    void stop();
    QNetworkAccessManager& network();

    Surroundings surroundings_;
    std::unique_ptr<QNetworkAccessManager> network_;
    QTimer schedule_;
    Kind kind_ = Kind::manual;
    std::unique_ptr<SecureDownload> download_;
    QByteArray received_;
    std::optional<AppcastItem> item_;
    std::unique_ptr<PackageDownload> packageDownload_;
    /// Fetched, verified and not opened yet; its file is open while it is verified once more.
    QFile package_;
    std::unique_ptr<PackageVerification> verification_;

    bool batchIsRunning_ = false;
    std::optional<Panel> panel_;
    /// Waits for the end of the batch.
    std::optional<Panel> waitingPanel_;
    double progress_ = -1;
    QString progressText_;
};

} // namespace Bleedwise
