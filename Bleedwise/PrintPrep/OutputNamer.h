#pragma once

#include "PrintPrep/PrintSettings.h"

#include <filesystem>

/// Names of finished files, and putting them in place.
namespace Bleedwise::OutputNamer {

/// Where the result of `inputURL` goes unless the user names another place: beside the input, under
/// its name without the last extension, followed by the settings' suffix and ".pdf".
std::filesystem::path defaultOutputURL(const std::filesystem::path& inputURL,
                                       const PrintSettings& settings);

/// Moves the file `source` to `destination`, in place of a file that is there.
///
/// On every failure, a full disk or a killed process included, the destination still holds its old
/// bytes and the source is still there. From another file system the file is first copied beside
/// the destination. The new file's bytes have reached the disk when this returns; its name in the
/// folder has, too, where the folder may be read.
///
/// Throws `FileSystemError`: also when the destination is a folder or a device, which are never
/// replaced.
void replaceItem(const std::filesystem::path& destination, const std::filesystem::path& source);

} // namespace Bleedwise::OutputNamer
