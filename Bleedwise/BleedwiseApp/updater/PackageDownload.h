#pragma once

#include "BleedwiseApp/updater/Appcast.h"
#include "BleedwiseApp/updater/SecureDownload.h"

#include <functional>
#include <memory>

#include <QFile>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTemporaryFile>

class QIODevice;
class QThread;

namespace Bleedwise {

/// A package of a feed.
namespace Package {

/// More, and it is no package of this program.
constexpr qint64 largestPackage = 512 << 20;

/// Throws `UpdateError` when a package cannot come to be installed, so that it need not be fetched:
/// it has no length or no signature, `key` is no key, or it is no package for a system's installer.
void requireInstallable(const AppcastItem& item, const QString& key);

} // namespace Package

/// Looks at a package in a thread of its own: a large one takes a second, in which the window must
/// go on. Ends with one call of `ended` from the event loop, whose text says why the package is not
/// the one that the feed describes, or is empty. Whoever destroys it waits for its end, without
/// that call.
class PackageVerification : public QObject {
    Q_OBJECT

public:
    /// The open package, which nobody else may touch meanwhile.
    PackageVerification(QIODevice& package, const AppcastItem& item, const QString& key,
                        std::function<void(const QString& problem)> ended);
    ~PackageVerification() override;

private:
    std::unique_ptr<QThread> thread_;
};

/// The package of an item, fetched into a folder under a passing, hidden name. It gets its own
/// name, or one with a number when that is taken, only when it is whole and its signature is right;
/// otherwise, and when the object goes before the end, nothing is left of it. It is not executable.
///
/// A file that has one of these names, is as long and has the right signature was fetched before,
/// and is the finished file, so that nothing is fetched. Other files stay as they are.
///
/// Begins when it is made. Ends with one call of `ended`, from the event loop.
class PackageDownload : public QObject {
    Q_OBJECT

public:
    struct Listener {
        /// Of the package's bytes; all of them while a file is verified.
        std::function<void(qint64 received)> progress;
        /// The finished file, or why there is none; one of them is empty.
        std::function<void(const QString& file, const QString& failure)> ended;
    };

    /// The item must be installable.
    PackageDownload(QNetworkAccessManager& network, const DownloadSurroundings& surroundings,
                    AppcastItem item, QString key, QString folder, Listener listener);
    ~PackageDownload() override;

private:
    void tryNextFile();
    void fetch();
    bool append(QByteArrayView piece);
    void verify();
    void finish(const QString& problem);
    void end(const QString& file, const QString& failure);

    QNetworkAccessManager& network_;
    DownloadSurroundings surroundings_;
    AppcastItem item_;
    QString key_;
    QString folder_;
    Listener listener_;
    /// May be the package, and are to be looked at.
    QStringList fetchedFiles_;
    QFile fetchedFile_;
    QTemporaryFile file_;
    qint64 received_ = 0;
    std::unique_ptr<SecureDownload> download_;
    std::unique_ptr<PackageVerification> verification_;
};

} // namespace Bleedwise
