#include "BleedwiseApp/updater/InformationDictionary.h"

#include "PrintPrep/platform/ProcessInfo.h"

#include <system_error>

#include <QByteArray>
#include <QFile>
#include <QIODevice>
#include <QJsonDocument>
#include <QJsonValue>
#include <QUrl>

namespace Bleedwise {
namespace {

using std::filesystem::path;

constexpr const char* fileName = "Info.json";
constexpr qint64 largestFile = 1 << 20;

bool isFile(const path& url) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(url, ignored);
}

/// As it is written: QUrl turns it into small letters.
bool hasHTTPSScheme(const QString& address) {
    return address.startsWith(QLatin1String("https:"), Qt::CaseSensitive);
}

} // namespace

InformationDictionary InformationDictionary::ofFile(const path& url) {
    if (!isFile(url)) // a pipe would be waited for
        return InformationDictionary();
    QFile file(url);
    if (!file.open(QIODevice::ReadOnly))
        return InformationDictionary();
    const QByteArray bytes = file.read(largestFile + 1);
    if (bytes.size() > largestFile)
        return InformationDictionary();
    return InformationDictionary(QJsonDocument::fromJson(bytes).object());
}

InformationDictionary InformationDictionary::ofMainBundle() {
    const path folder = ProcessInfo::applicationFolder();
    const path shared = folder / "../share/bleedwise" / fileName;
    return ofFile(isFile(shared) ? shared : folder / fileName);
}

std::optional<QString> InformationDictionary::text(const QString& key) const {
    const QJsonValue value = values_.value(key);
    return value.isString() ? std::optional(value.toString()) : std::nullopt;
}

bool InformationDictionary::sparkleConfigurationIsReady() const {
    const std::optional<QString> feed = text(QStringLiteral("SUFeedURL"));
    if (!feed || !QUrl(*feed, QUrl::StrictMode).isValid() || !hasHTTPSScheme(*feed))
        return false;
    const std::optional<QString> key = text(QStringLiteral("SUPublicEDKey"));
    return key && !key->trimmed().isEmpty();
}

} // namespace Bleedwise
