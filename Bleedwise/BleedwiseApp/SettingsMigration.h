#pragma once

/// Settings that an earlier release kept under another name.
namespace Bleedwise::SettingsMigration {

/// Copies them once per user, for good or when there are none: a value that the user already has
/// stays, the old file stays as it is, and what is written there later is never looked at. Does
/// nothing when the settings cannot be read or written. Main thread, before anything reads a
/// setting.
void runIfNeeded();

} // namespace Bleedwise::SettingsMigration
