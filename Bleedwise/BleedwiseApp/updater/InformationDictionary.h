#pragma once

#include <filesystem>
#include <optional>

#include <QJsonObject>
#include <QString>

namespace Bleedwise {

/// What whoever builds a release writes about it: the JSON object in the file `Info.json`. A file
/// that is missing, is too large or holds no JSON object gives an empty dictionary.
class InformationDictionary {
public:
    explicit InformationDictionary(const QJsonObject& values = {}) : values_(values) {}

    static InformationDictionary ofFile(const std::filesystem::path& url);

    /// The running program's: in ../share/bleedwise beside its folder, else in its folder.
    static InformationDictionary ofMainBundle();

    /// Absent when there is no such key, or when its value is no text.
    std::optional<QString> text(const QString& key) const;

    /// Whether there is an https address under "SUFeedURL" and something other than white space
    /// under "SUPublicEDKey": then, and only then, the program has an updater. The scheme must be
    /// written in small letters. Neither text is looked at any closer here.
    bool sparkleConfigurationIsReady() const;

private:
    QJsonObject values_;
};

} // namespace Bleedwise
