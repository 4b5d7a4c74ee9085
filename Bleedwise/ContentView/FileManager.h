#pragma once

#include <filesystem>

#include <QDBusConnection>

/// The desktop's file manager.
namespace Bleedwise::FileManager {

/// Asks the file manager to show the folder of `file` with the file selected. Where no program on
/// the session bus can do that (org.freedesktop.FileManager1), opens the folder instead.
///
/// Returns at once; the file manager may appear later. `file` is absolute. Main thread, with a
/// running event loop. Nothing happens where a desktop has no file manager at all.
void reveal(const std::filesystem::path& file,
            const QDBusConnection& bus = QDBusConnection::sessionBus());

} // namespace Bleedwise::FileManager
