#pragma once

#include "ContentView/SettingsFile.h"

#include <QString>

namespace Bleedwise {

/// A domain of the user's settings (see `SettingsFile`) as the window reads and writes it. A text
/// is kept exactly as it is given. Main thread.
class SettingsStore {
public:
    explicit SettingsStore(const QString& domain);

    /// The domain of this program.
    static SettingsStore standard();

    /// The default when there is no value or none of this type.
    QString text(const QString& key, const QString& defaultText) const;
    bool boolean(const QString& key, bool defaultValue) const;

    /// In the file, if it can be written, when these return.
    void setText(const QString& key, const QString& text);
    void setBoolean(const QString& key, bool value);

private:
    SettingsFile file_;
};

} // namespace Bleedwise
