#include "ContentView/FileURL.h"

#include <QByteArray>

namespace Bleedwise::FileURL {

std::optional<std::filesystem::path> path(const QUrl& url) {
    if (url.scheme() != QLatin1String("file"))
        return std::nullopt;
    const QString host = url.host();
    if (!host.isEmpty() && host != QLatin1String("localhost"))
        return std::nullopt;
    const QByteArray bytes =
        QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1());
    if (!bytes.startsWith('/') || bytes.contains('\0'))
        return std::nullopt;
    return std::filesystem::path(bytes.toStdString());
}

QUrl url(const std::filesystem::path& path) {
    const QByteArray bytes = QByteArray::fromStdString(path.native());
    return QUrl::fromEncoded("file://" + bytes.toPercentEncoding("/"), QUrl::StrictMode);
}

QString displayText(std::string_view bytes) {
    return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
}

std::filesystem::path standardized(const std::filesystem::path& path) {
    return path.lexically_normal();
}

} // namespace Bleedwise::FileURL
