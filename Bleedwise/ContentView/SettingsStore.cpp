#include "ContentView/SettingsStore.h"

#include <QSettings>
#include <QStandardPaths>

namespace Bleedwise {

SettingsStore::SettingsStore(const QString& domain)
    : settings_(std::make_unique<QSettings>(
          QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u'/' + domain +
              QStringLiteral(".conf"),
          QSettings::IniFormat)) {}

SettingsStore::SettingsStore(SettingsStore&& other) noexcept = default;
SettingsStore& SettingsStore::operator=(SettingsStore&& other) noexcept = default;
SettingsStore::~SettingsStore() = default;

SettingsStore SettingsStore::standard() {
    return SettingsStore(QStringLiteral("app.bleedwise.Bleedwise"));
}

bool SettingsStore::contains(const QString& key) const {
    return settings_->contains(key);
}

QString SettingsStore::text(const QString& key, const QString& defaultText) const {
    return settings_->value(key, defaultText).toString();
}

bool SettingsStore::boolean(const QString& key, bool defaultValue) const {
    return settings_->value(key, defaultValue).toBool();
}

void SettingsStore::setText(const QString& key, const QString& text) {
    settings_->setValue(key, text);
    settings_->sync();
}

void SettingsStore::setBoolean(const QString& key, bool value) {
    settings_->setValue(key, value);
    settings_->sync();
}

} // namespace Bleedwise
