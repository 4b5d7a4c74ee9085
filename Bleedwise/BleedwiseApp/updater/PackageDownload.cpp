#include "BleedwiseApp/updater/PackageDownload.h"

#include "BleedwiseApp/updater/UpdateError.h"
#include "BleedwiseApp/updater/UpdateSignature.h"

#include <chrono>
#include <new>
#include <utility>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QIODevice>
#include <QMetaObject>
#include <QStringList>
#include <QStringView>
#include <QThread>
#include <QUrl>

namespace Bleedwise {
namespace {

using namespace std::chrono_literals;

/// What a package manager or an archiver opens, and nothing that would run by being opened.
const QStringList& extensions() {
    static const QStringList list = {QStringLiteral(".deb"),         QStringLiteral(".rpm"),
                                     QStringLiteral(".flatpak"),     QStringLiteral(".snap"),
                                     QStringLiteral(".tar.gz"),      QStringLiteral(".tar.xz"),
                                     QStringLiteral(".pkg.tar.zst"), QStringLiteral(".zip")};
    return list;
}

QString extensionOf(const QString& fileName) {
    for (const QString& extension : extensions()) {
        if (fileName.endsWith(extension, Qt::CaseInsensitive))
            return extension;
    }
    return {};
}

/// Letters, digits and a few signs of the address's last part, so that no name means anything to a
/// shell or hides the file.
QString baseName(const AppcastItem& item) {
    const QString fileName = item.url.fileName(QUrl::FullyDecoded);
    QString name;
    for (const QChar character : fileName.chopped(extensionOf(fileName).size())) {
        const bool isPlain =
            character.unicode() < 128 &&
            (character.isLetterOrNumber() || QStringView(u"._+~-").contains(character));
        name += isPlain ? character : QChar(u'_');
    }
    constexpr qsizetype longestName = 150;
    name = name.left(longestName);
    while (name.startsWith(u'.') || name.startsWith(u'-'))
        name.remove(0, 1);
    return name.isEmpty() ? QStringLiteral("Bleedwise") : name;
}

constexpr int mostNames = 1000;

/// The names that an item's package can have, from 1 on, with their folder.
QString numberedName(const QString& folder, const AppcastItem& item, int number) {
    const QString suffix = number == 1 ? QString() : QStringLiteral("-%1").arg(number);
    const QString extension = extensionOf(item.url.fileName(QUrl::FullyDecoded));
    return QDir(folder).filePath(baseName(item) + suffix + extension);
}

bool isTaken(const QString& name) {
    return QFileInfo::exists(name) || QFileInfo(name).isSymLink();
}

/// Takes the first free name. Replaces nothing.
QString giveName(QTemporaryFile& file, const QString& folder, const AppcastItem& item) {
    for (int number = 1; number <= mostNames; ++number) {
        const QString name = numberedName(folder, item, number);
        if (isTaken(name))
            continue;
        if (!file.rename(name))
            break;
        file.setAutoRemove(false);
        return name;
    }
    return {};
}

/// The files before the first free name that are as long as the package.
QStringList filesOfItsLength(const QString& folder, const AppcastItem& item) {
    QStringList files;
    for (int number = 1; number <= mostNames; ++number) {
        const QString name = numberedName(folder, item, number);
        if (!isTaken(name))
            break;
        const QFileInfo file(name);
        if (file.isFile() && !file.isSymLink() && file.size() == item.length)
            files.append(name);
    }
    return files;
}

QString problem(QIODevice& package, const AppcastItem& item, const QString& key) {
    if (package.size() != item.length)
        return QStringLiteral("The update is not as long as it should be, so it was deleted.");
    try {
        // The very bytes that are verified are in memory: a mapped file could change meanwhile.
        package.seek(0);
        const QByteArray data = package.readAll();
        return UpdateSignature::verify(data, item.edSignature, key)
                   ? QString()
                   : QStringLiteral("The signature of the update is not right, so it was deleted.");
    } catch (const std::bad_alloc&) {
        return QStringLiteral(
            "There is not enough memory to verify the update, so it was deleted.");
    }
}

} // namespace

namespace Package {

void requireInstallable(const AppcastItem& item, const QString& key) {
    if (!UpdateSignature::isKey(key))
        throw UpdateError(QStringLiteral(
            "This copy of Bleedwise cannot verify updates: its public key is damaged."));
    if (item.edSignature.isEmpty())
        throw UpdateError(QStringLiteral("The update is not signed, so it was not fetched."));
    if (item.length <= 0)
        throw UpdateError(QStringLiteral(
            "The update feed does not say how large the update is, so it was not fetched."));
    if (item.length > largestPackage)
        throw UpdateError(
            QStringLiteral("The update is too large to be genuine, so it was not fetched."));
    if (extensionOf(item.url.fileName(QUrl::FullyDecoded)).isEmpty())
        throw UpdateError(QStringLiteral(
            "The update is not a package for a system's installer, so it was not fetched."));
}

} // namespace Package

PackageVerification::PackageVerification(QIODevice& package, const AppcastItem& item,
                                         const QString& key,
                                         std::function<void(const QString& problem)> ended)
    : thread_(QThread::create([this, &package, item, key, ended = std::move(ended)] {
          const QString found = problem(package, item, key);
          QMetaObject::invokeMethod(
              this, [ended, found] { ended(found); }, Qt::QueuedConnection);
      })) {
    thread_->start();
}

PackageVerification::~PackageVerification() {
    thread_->wait();
}

PackageDownload::PackageDownload(QNetworkAccessManager& network,
                                 const DownloadSurroundings& surroundings, AppcastItem item,
                                 QString key, QString folder, Listener listener)
    : network_(network), surroundings_(surroundings), item_(std::move(item)), key_(std::move(key)),
      folder_(std::move(folder)), listener_(std::move(listener)),
      fetchedFiles_(filesOfItsLength(folder_, item_)) {
    tryNextFile();
}

PackageDownload::~PackageDownload() = default;

void PackageDownload::tryNextFile() {
    fetchedFile_.close();
    if (fetchedFiles_.isEmpty()) {
        fetch();
        return;
    }
    fetchedFile_.setFileName(fetchedFiles_.takeFirst());
    if (!fetchedFile_.open(QIODevice::ReadOnly)) {
        tryNextFile();
        return;
    }
    listener_.progress(item_.length);
    verification_ = std::make_unique<PackageVerification>(
        fetchedFile_, item_, key_, [this](const QString& problem) {
            const auto verification = std::move(verification_);
            if (problem.isEmpty()) {
                end(fetchedFile_.fileName(), {});
            } else {
                listener_.progress(0);
                tryNextFile();
            }
        });
}

void PackageDownload::fetch() {
    QDir().mkpath(folder_);
    file_.setFileTemplate(QDir(folder_).filePath(QStringLiteral(".bleedwise-XXXXXX.part")));
    if (!file_.open()) {
        QMetaObject::invokeMethod(
            this,
            [this] {
                end({}, QStringLiteral("The download cannot be stored in %1.").arg(folder_));
            },
            Qt::QueuedConnection);
        return;
    }
    download_ = std::make_unique<SecureDownload>(
        network_, surroundings_,
        SecureDownload::Request{item_.url, QStringLiteral("download server"), item_.length, 2h},
        SecureDownload::Listener{[this](QByteArrayView piece) { return append(piece); },
                                 [this](const QString& failure) {
                                     if (failure.isEmpty())
                                         verify();
                                     else
                                         end({}, failure);
                                 }});
}

bool PackageDownload::append(QByteArrayView piece) {
    if (file_.write(piece.data(), piece.size()) != piece.size())
        return false;
    received_ += piece.size();
    listener_.progress(received_);
    return true;
}

void PackageDownload::verify() {
    if (!file_.flush()) {
        end({}, QStringLiteral("The download cannot be stored: the disk may be full."));
        return;
    }
    verification_ = std::make_unique<PackageVerification>(
        file_, item_, key_, [this](const QString& problem) { finish(problem); });
}

void PackageDownload::finish(const QString& problem) {
    if (!problem.isEmpty()) {
        end({}, problem);
        return;
    }
    file_.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup |
                         QFile::ReadOther);
    const QString name = giveName(file_, folder_, item_);
    if (name.isEmpty())
        end({}, QStringLiteral("The download cannot be stored in %1.").arg(folder_));
    else
        end(name, {});
}

void PackageDownload::end(const QString& file, const QString& failure) {
    file_.close();
    if (!failure.isEmpty() && !file_.fileName().isEmpty())
        file_.remove();
    // The listener may destroy this object.
    const auto ended = std::move(listener_.ended);
    ended(file, failure);
}

} // namespace Bleedwise
