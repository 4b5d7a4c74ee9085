#include "ContentView/DropURLResolver.h"

#include "PrintPrep/platform/UTF8.h"

#include <string_view>

#include <QByteArray>
#include <QString>

namespace Bleedwise::DropURLResolver {
namespace {

std::optional<QUrl> validURL(const QUrl& candidate) {
    if (candidate.isValid() && !candidate.isEmpty())
        return candidate;
    return std::nullopt;
}

bool isUTF8(const QByteArray& bytes) {
    return UTF8::isValid(std::string_view(bytes.constData(), static_cast<size_t>(bytes.size())));
}

} // namespace

std::optional<QUrl> url(const QVariant& item) {
    if (!item.isValid())
        return std::nullopt;
    if (item.metaType() == QMetaType::fromType<QByteArray>()) {
        const auto bytes = item.toByteArray();
        if (isUTF8(bytes))
            return validURL(QUrl(QString::fromUtf8(bytes)));
    }
    if (item.metaType() == QMetaType::fromType<QUrl>())
        return validURL(item.toUrl());
    return std::nullopt;
}

} // namespace Bleedwise::DropURLResolver
