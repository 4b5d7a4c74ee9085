#include "BleedwiseApp/SettingsMigration.h"

#include "ContentView/SettingsFile.h"
#include "ContentView/SettingsValue.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace Bleedwise::SettingsMigration {
namespace {

constexpr std::string_view legacyDomain = "local.kestrel.Bleedwise";
constexpr std::string_view doneKey = "didMigrateReleaseBundleSettings";
constexpr std::array<std::string_view, 5> keys = {"trimWidthMM", "trimHeightMM", "bleedMM",
                                                  "sourceIncludesBleed", "useGhostscript"};

bool isDone(const SettingsFile& settings) {
    const std::optional<std::string> value = settings.value(doneKey);
    return value && SettingsValue::boolean(*value) == true;
}

/// The old values as they are written, so that each keeps its type.
SettingsFile::Values legacyValues() {
    const SettingsFile legacy(legacyDomain);
    SettingsFile::Values values;
    for (const std::string_view key : keys) {
        if (const std::optional<std::string> value = legacy.value(key))
            values.emplace(key, *value);
    }
    return values;
}

} // namespace

void runIfNeeded() {
    SettingsFile settings(SettingsFile::standardDomain);
    if (isDone(settings))
        return;
    settings.set({{std::string(doneKey), SettingsValue::ofBoolean(true)}}, legacyValues());
}

} // namespace Bleedwise::SettingsMigration
