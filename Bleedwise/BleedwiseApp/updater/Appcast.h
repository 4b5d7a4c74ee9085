#pragma once

#include <vector>

#include <QByteArray>
#include <QString>
#include <QUrl>

namespace Bleedwise {

/// A version that a feed offers, with one of its packages. Texts are trimmed, and empty when the
/// feed does not have them.
struct AppcastItem {
    QString version;
    /// What people call the version.
    QString shortVersion;
    QString minimumSystemVersion;
    QString maximumSystemVersion;
    QString channel;
    /// HTML, or plain text.
    QString description;
    bool descriptionIsPlain = false;
    QUrl releaseNotesURL;

    QUrl url;
    /// In bytes; 0 when the feed does not say.
    qint64 length = 0;
    /// In base64.
    QString edSignature;
    /// The system that the package is for; an empty one is macOS.
    QString os;

    QString displayVersion() const { return shortVersion.isEmpty() ? version : shortVersion; }
};

/// The update feed: RSS with the "sparkle" extension.
namespace Appcast {

/// More, and it is no update feed of ours.
constexpr qsizetype largestFeed = 1 << 20;
constexpr std::size_t mostItems = 500;
constexpr qsizetype longestText = 4096;
constexpr qsizetype longestDescription = 256 << 10;
/// What XML is read slowly for: every attribute is compared with those before it in its tag, and
/// every name looked up among the namespaces that are declared around it.
constexpr qsizetype longestTag = 8192;
constexpr int deepestElement = 32;
constexpr int mostNamespaces = 64;

/// The packages that a feed offers, in its order. Addresses are resolved against the feed's own.
/// Items without a version or without a package are left out, as are differences between two
/// versions. Throws `UpdateError` when the data is not well-formed UTF-8, is no feed, has a
/// document type declaration, through which it could name entities, or exceeds a limit.
std::vector<AppcastItem> parse(const QByteArray& data, const QUrl& feedURL);

/// The newest item that is for this kind of system and this version of it, and in no channel.
/// Null when there is none.
const AppcastItem* best(const std::vector<AppcastItem>& items, const QString& systemVersion);

} // namespace Appcast
} // namespace Bleedwise
