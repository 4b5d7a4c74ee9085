#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// What this process was started with.
namespace Bleedwise::ProcessInfo {

/// The arguments exactly as the process received them, the program's own path first.
std::vector<std::string> arguments();

/// The folder of the running executable, links resolved.
std::filesystem::path applicationFolder();

/// `path` made absolute against the current folder. Only components "." are dropped: taking ".."
/// away would name another file where a folder is a symbolic link. An empty path is the current
/// folder. Throws `FileSystemError` when the current folder no longer exists.
std::filesystem::path absoluteURL(const std::filesystem::path& path);

/// Whether `url` is a regular file, links followed, that the current user can execute.
bool canExecute(const std::filesystem::path& url);

/// Makes sure that descriptors 0 to 2 are open, so that no file opened later takes the place of a
/// standard stream that the caller had closed. To be called first in `main`.
void openMissingStandardStreams() noexcept;

} // namespace Bleedwise::ProcessInfo
