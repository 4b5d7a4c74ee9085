#pragma once

#include "PrintPrep/platform/FileDescriptor.h"
#include "PrintPrep/platform/MappedFile.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace Bleedwise {

/// How much of a finished file must have reached the disk before it takes its final name.
enum class Durability {
    /// A killed process leaves the old file or the new one; a power failure may lose both. For
    /// files that are worthless after a restart.
    processFailure,
    /// As above, and a power failure does not lose both where the file system stores a file before
    /// the name under which it replaces another, as ext4, Btrfs and XFS do. Waits for no disk.
    deferred,
    /// What holds for a killed process holds for a power failure.
    powerFailure,
};

/// A file that is written under a passing name in its destination's folder and takes the
/// destination's name, replacing what is there in one step, only when it is complete.
///
/// Until `commit()` returns the destination holds its old bytes. An object that is destroyed
/// without a commit removes its file; a killed process may leave a file `.bleedwise-UUID.part`.
/// Every operation throws `FileSystemError` that names the destination.
class StagedFile {
public:
    /// `permissions` are those of the finished file, as `chmod` takes them.
    StagedFile(std::filesystem::path destination, unsigned permissions);
    StagedFile(const StagedFile&) = delete;
    StagedFile& operator=(const StagedFile&) = delete;
    ~StagedFile();

    /// Small pieces are gathered before they are written.
    void append(std::string_view bytes);
    /// A whole file, in little memory: what has been copied is released.
    void append(const MappedFile& file);
    void commit(Durability durability);

private:
    void write(std::string_view bytes);
    [[noreturn]] void fail(int code) const;

    std::filesystem::path destination_;
    std::filesystem::path stagedURL_;
    FileDescriptor file_;
    std::string gathered_;
    bool stagedExists_ = true;
};

/// Asks the kernel to store a file's bytes on the disk now. Returns 0 or an `errno` value.
int flushToDisk(const std::filesystem::path& file) noexcept;

/// Asks the kernel to store a folder's list of names on the disk now, as far as it lets us: a
/// folder that may be written but not read cannot be flushed, and not every file system can do it.
void flushNamesToDisk(const std::filesystem::path& folder) noexcept;

} // namespace Bleedwise
