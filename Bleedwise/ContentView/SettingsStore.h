#pragma once

#include <memory>

#include <QString>

class QSettings;

namespace Bleedwise {

/// One domain of the user's settings, kept in a file of its own: NAME.conf in `$XDG_CONFIG_HOME`,
/// or in `~/.config`.
///
/// A text is kept exactly as it is given. Each change is in the file when the setter returns, and
/// touches no other key: not those of another running instance, nor those that are not ours. What
/// cannot be read counts as absent, and what cannot be written is kept for the length of this
/// object. Main thread.
class SettingsStore {
public:
    explicit SettingsStore(const QString& domain);
    SettingsStore(SettingsStore&& other) noexcept;
    SettingsStore& operator=(SettingsStore&& other) noexcept;
    ~SettingsStore();

    /// The domain of this program.
    static SettingsStore standard();

    bool contains(const QString& key) const;
    QString text(const QString& key, const QString& defaultText) const;
    bool boolean(const QString& key, bool defaultValue) const;

    void setText(const QString& key, const QString& text);
    void setBoolean(const QString& key, bool value);

private:
    std::unique_ptr<QSettings> settings_;
};

} // namespace Bleedwise
