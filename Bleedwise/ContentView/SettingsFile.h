#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace Bleedwise {

/// One domain of the user's settings in a file of its own: NAME.conf in `$XDG_CONFIG_HOME`, or in
/// `~/.config`. It is an INI file with the keys under [General], whose values `SettingsValue`
/// reads and writes.
///
/// An object has the values that the file had when it was made, and those given to it since. Each
/// of these is in the file when the call returns, written in one step, and everything else in the
/// file stays as it is, line by line: the values of another running instance, keys that are not
/// ours, a person's notes. What cannot be read counts as absent; what cannot be written is kept for
/// the length of the object and tried again with the next value. Nothing here fails.
///
/// This is not QSettings, which every conversion from the command line would have to load with all
/// of Qt Core for one look at one value, and which is less careful: it waits forever for a pipe in
/// the file's place, runs out of memory over a huge file, takes all lines behind an unpaired quote
/// for one value and rewrites them so, and turns 3,0 into a list.
class SettingsFile {
public:
    using Values = std::map<std::string, std::string, std::less<>>;

    /// The domain of this program.
    static constexpr std::string_view standardDomain = "app.bleedwise.Bleedwise";

    explicit SettingsFile(std::string_view domain);

    /// As it is written in the file.
    std::optional<std::string> value(std::string_view key) const;

    /// Sets each of `values`, in place of what is there, and those of `missing` that are neither
    /// here nor in the file. It is all or nothing.
    void set(const Values& values, const Values& missing = {});

private:
    bool store(const Values& values, const Values& missing) const;

    /// Empty when the user has no folder for settings.
    std::filesystem::path url_;
    Values values_;
    Values unsaved_;
};

} // namespace Bleedwise
