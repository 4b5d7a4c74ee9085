#include "BleedwiseApp/updater/Appcast.h"

#include "BleedwiseApp/updater/UpdateError.h"
#include "BleedwiseApp/updater/VersionComparison.h"

#include <compare>

#include <QChar>
#include <QStringView>
#include <QXmlStreamReader>

namespace Bleedwise::Appcast {
namespace {

constexpr QLatin1String extension("http://www.andymatuschak.org/xml-namespaces/sparkle");
constexpr QLatin1String thisSystem("linux");

[[noreturn]] void failToRead() {
    throw UpdateError(QStringLiteral("The update feed is damaged and cannot be read."));
}

[[noreturn]] void failAsTooLarge() {
    throw UpdateError(QStringLiteral("The update feed is too large to be genuine."));
}

QString shortText(QStringView text) {
    if (text.size() > longestText)
        failAsTooLarge();
    return text.trimmed().toString();
}

/// A version is shown to people and kept in the settings: one line of ordinary characters.
QString versionText(QStringView text) {
    constexpr qsizetype longestVersion = 100;
    const QString version = shortText(text);
    for (const QChar character : version) {
        if (!character.isPrint() || version.size() > longestVersion)
            failToRead();
    }
    return version;
}

qint64 lengthOf(QStringView text) {
    bool isNumber = false;
    const qint64 length = text.trimmed().toLongLong(&isNumber);
    return isNumber && length > 0 ? length : 0;
}

/// Looks over the marks of a feed, in one pass, before anything takes the time to understand them.
class Outline {
public:
    explicit Outline(QStringView text) : rest_(text) {}

    void requireModest() {
        for (qsizetype mark = rest_.indexOf(u'<'); mark >= 0; mark = rest_.indexOf(u'<')) {
            rest_ = rest_.sliced(mark);
            if (rest_.startsWith(QLatin1String("<!--")))
                skipPast(QLatin1String("-->"));
            else if (rest_.startsWith(QLatin1String("<![CDATA[")))
                skipPast(QLatin1String("]]>"));
            else if (rest_.startsWith(QLatin1String("<?")))
                skipPast(QLatin1String("?>"));
            else if (rest_.startsWith(QLatin1String("<!")))
                failToRead(); // a document type
            else
                readTag();
        }
    }

private:
    void skipPast(QLatin1String end) {
        const qsizetype position = rest_.indexOf(end);
        rest_ = position < 0 ? QStringView() : rest_.sliced(position + end.size());
    }

    void readTag() {
        const QStringView tag = rest_.first(lengthOfTag());
        rest_ = rest_.sliced(tag.size());
        namespaces_ += tag.count(QLatin1String("xmlns"));
        if (tag.startsWith(QLatin1String("</")))
            --depth_;
        else if (!tag.endsWith(QLatin1String("/>")))
            ++depth_;
        if (depth_ > deepestElement || namespaces_ > mostNamespaces)
            failAsTooLarge();
    }

    /// To the sign that ends the tag, which may also be within quotes.
    qsizetype lengthOfTag() const {
        QChar quote;
        for (qsizetype i = 0; i < rest_.size(); ++i) {
            if (i >= longestTag)
                failAsTooLarge();
            const QChar character = rest_[i];
            if (!quote.isNull())
                quote = character == quote ? QChar() : quote;
            else if (character == u'"' || character == u'\'')
                quote = character;
            else if (character == u'>')
                return i + 1;
        }
        return rest_.size();
    }

    QStringView rest_;
    int depth_ = 0;
    qsizetype namespaces_ = 0;
};

class Reader {
public:
    Reader(const QString& text, QUrl feedURL) : xml_(text), feedURL_(std::move(feedURL)) {}

    std::vector<AppcastItem> items() {
        if (!findElement(QLatin1String("rss")) || !findElement(QLatin1String("channel")))
            throw UpdateError(QStringLiteral("The address of the update feed leads to no feed."));
        while (nextElement()) {
            if (isPlain(QLatin1String("item")))
                readItem();
            else
                skipElement();
        }
        // What follows must be well-formed, too: a feed that breaks off is not taken.
        while (!xml_.atEnd())
            readToken();
        return std::move(items_);
    }

private:
    bool isPlain(QLatin1String name) const {
        return xml_.namespaceUri().isEmpty() && xml_.name() == name;
    }
    bool isExtension(QLatin1String name) const {
        return xml_.namespaceUri() == extension && xml_.name() == name;
    }

    QXmlStreamReader::TokenType readToken() {
        const QXmlStreamReader::TokenType token = xml_.readNext();
        if (token == QXmlStreamReader::Invalid || token == QXmlStreamReader::DTD ||
            token == QXmlStreamReader::EntityReference)
            failToRead();
        return token;
    }

    /// Goes to the next child of the element that the reader is in. False at its end.
    bool nextElement() {
        for (;;) {
            const QXmlStreamReader::TokenType token = readToken();
            if (token == QXmlStreamReader::StartElement)
                return true;
            if (token == QXmlStreamReader::EndElement || token == QXmlStreamReader::EndDocument)
                return false;
        }
    }

    bool findElement(QLatin1String name) {
        while (nextElement()) {
            if (isPlain(name))
                return true;
            skipElement();
        }
        return false;
    }

    void skipElement() {
        for (int depth = 1; depth > 0;) {
            const QXmlStreamReader::TokenType token = readToken();
            if (token == QXmlStreamReader::StartElement)
                ++depth;
            else if (token == QXmlStreamReader::EndElement)
                --depth;
        }
    }

    /// The text in an element, with that of elements within it.
    QString elementText(qsizetype limit) {
        QString text;
        for (int depth = 1; depth > 0;) {
            const QXmlStreamReader::TokenType token = readToken();
            if (token == QXmlStreamReader::StartElement)
                ++depth;
            else if (token == QXmlStreamReader::EndElement)
                --depth;
            else if (token == QXmlStreamReader::Characters)
                text += xml_.text();
            if (text.size() > limit)
                failAsTooLarge();
        }
        return text.trimmed();
    }

    QUrl address(QStringView text) const {
        const QUrl url(shortText(text), QUrl::StrictMode);
        return url.isValid() ? feedURL_.resolved(url) : QUrl();
    }

    void readItem() {
        AppcastItem item;
        std::vector<AppcastItem> packages;
        while (nextElement())
            readPartOfItem(item, packages);
        for (const AppcastItem& package : packages)
            addPackage(item, package);
    }

    void readPartOfItem(AppcastItem& item, std::vector<AppcastItem>& packages) {
        if (isPlain(QLatin1String("enclosure"))) {
            packages.push_back(package());
            skipElement();
            if (packages.size() > mostItems)
                failAsTooLarge();
        } else if (isPlain(QLatin1String("description"))) {
            readDescription(item);
        } else if (isExtension(QLatin1String("version"))) {
            item.version = versionText(elementText(longestText));
        } else if (isExtension(QLatin1String("shortVersionString"))) {
            item.shortVersion = versionText(elementText(longestText));
        } else if (isExtension(QLatin1String("minimumSystemVersion"))) {
            item.minimumSystemVersion = versionText(elementText(longestText));
        } else if (isExtension(QLatin1String("maximumSystemVersion"))) {
            item.maximumSystemVersion = versionText(elementText(longestText));
        } else if (isExtension(QLatin1String("channel"))) {
            item.channel = elementText(longestText);
        } else if (isExtension(QLatin1String("releaseNotesLink"))) {
            readReleaseNotesLink(item);
        } else {
            skipElement();
        }
    }

    void readDescription(AppcastItem& item) {
        const QStringView format = xml_.attributes().value(extension, QLatin1String("format"));
        item.descriptionIsPlain =
            format == QLatin1String("plain-text") || format == QLatin1String("markdown");
        item.description = elementText(longestDescription);
    }

    /// Of the links to notes in several languages, that to the English ones, else the first.
    void readReleaseNotesLink(AppcastItem& item) {
        const bool isEnglish =
            xml_.attributes().value(QLatin1String("xml:lang")).startsWith(QLatin1String("en"));
        const QUrl url = address(elementText(longestText));
        if (item.releaseNotesURL.isEmpty() || isEnglish)
            item.releaseNotesURL = url;
    }

    AppcastItem package() const {
        const QXmlStreamAttributes attributes = xml_.attributes();
        AppcastItem item;
        item.url = address(attributes.value(QLatin1String("url")));
        item.length = lengthOf(attributes.value(QLatin1String("length")));
        item.edSignature = shortText(attributes.value(extension, QLatin1String("edSignature")));
        item.os = shortText(attributes.value(extension, QLatin1String("os")));
        item.version = versionText(attributes.value(extension, QLatin1String("version")));
        item.shortVersion =
            versionText(attributes.value(extension, QLatin1String("shortVersionString")));
        return item;
    }

    /// What the item says holds before what the package says.
    void addPackage(const AppcastItem& item, const AppcastItem& package) {
        AppcastItem whole = item;
        if (whole.version.isEmpty())
            whole.version = package.version;
        if (whole.shortVersion.isEmpty())
            whole.shortVersion = package.shortVersion;
        whole.url = package.url;
        whole.length = package.length;
        whole.edSignature = package.edSignature;
        whole.os = package.os;
        if (whole.version.isEmpty() || whole.url.isEmpty())
            return;
        items_.push_back(std::move(whole));
        if (items_.size() > mostItems)
            failAsTooLarge();
    }

    QXmlStreamReader xml_;
    QUrl feedURL_;
    std::vector<AppcastItem> items_;
};

bool fits(const AppcastItem& item, const QString& systemVersion) {
    if (item.os.compare(thisSystem, Qt::CaseInsensitive) != 0 || !item.channel.isEmpty())
        return false;
    if (!item.minimumSystemVersion.isEmpty() &&
        std::is_lt(VersionComparison::compare(systemVersion, item.minimumSystemVersion)))
        return false;
    return item.maximumSystemVersion.isEmpty() ||
           std::is_lteq(VersionComparison::compare(systemVersion, item.maximumSystemVersion));
}

} // namespace

std::vector<AppcastItem> parse(const QByteArray& data, const QUrl& feedURL) {
    if (data.size() > largestFeed)
        failAsTooLarge();
    if (!data.isValidUtf8())
        failToRead();
    // A text, and no bytes: the feed has no say in how it is decoded.
    const QString text = QString::fromUtf8(data);
    Outline(text).requireModest();
    return Reader(text, feedURL).items();
}

const AppcastItem* best(const std::vector<AppcastItem>& items, const QString& systemVersion) {
    const AppcastItem* newest = nullptr;
    for (const AppcastItem& item : items) {
        if (fits(item, systemVersion) &&
            (!newest || std::is_gt(VersionComparison::compare(item.version, newest->version))))
            newest = &item;
    }
    return newest;
}

} // namespace Bleedwise::Appcast
