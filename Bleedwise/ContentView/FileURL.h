#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include <QString>
#include <QUrl>

/// Between files, whose names are bytes, and Qt, whose texts are Unicode.
namespace Bleedwise::FileURL {

/// The absolute path in a URL with the scheme "file". Its percent-encoded bytes are taken as they
/// are, so that names which are not UTF-8 stay what they are. Absent for any other URL, and for
/// one that no file can have.
std::optional<std::filesystem::path> path(const QUrl& url);

/// The URL of an absolute path, without a loss.
QUrl url(const std::filesystem::path& path);

/// Bytes as a person reads them: what is not UTF-8 appears as U+FFFD.
QString displayText(std::string_view bytes);

/// The path that all spellings of it share: without "." and "..". Asks no file system.
std::filesystem::path standardized(const std::filesystem::path& path);

} // namespace Bleedwise::FileURL
