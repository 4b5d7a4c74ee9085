#include "ContentView/SettingsStore.h"

#include "ContentView/SettingsValue.h"

#include <optional>
#include <string>

namespace Bleedwise {

SettingsStore::SettingsStore(const QString& domain) : file_(domain.toStdString()) {}

SettingsStore SettingsStore::standard() {
    return SettingsStore(QString::fromStdString(std::string(SettingsFile::standardDomain)));
}

QString SettingsStore::text(const QString& key, const QString& defaultText) const {
    const std::optional<std::string> value = file_.value(key.toStdString());
    const std::optional<std::string> text = value ? SettingsValue::text(*value) : std::nullopt;
    return text ? QString::fromStdString(*text) : defaultText;
}

bool SettingsStore::boolean(const QString& key, bool defaultValue) const {
    const std::optional<std::string> value = file_.value(key.toStdString());
    return value ? SettingsValue::boolean(*value).value_or(defaultValue) : defaultValue;
}

void SettingsStore::setText(const QString& key, const QString& text) {
    file_.set({{key.toStdString(), SettingsValue::ofText(text.toStdString())}});
}

void SettingsStore::setBoolean(const QString& key, bool value) {
    file_.set({{key.toStdString(), SettingsValue::ofBoolean(value)}});
}

} // namespace Bleedwise
