#include "PrintPrep/platform/StagedFile.h"

#include "PrintPrep/platform/FileSystemError.h"
#include "PrintPrep/platform/TemporaryFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

/// Bytes of one write, and the size up to which small pieces are gathered for one. For larger
/// writes Linux takes larger blocks of memory for its cache, which a virtual machine may first have
/// to fetch from its host: measured there, 1 GiB took 0.3 s in steps of 64 KiB and 2.6 s in steps
/// of 1 MiB.
constexpr std::size_t writeSize = 64U << 10U;

bool isRegularFile(const std::filesystem::path& url) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(std::filesystem::symlink_status(url, ignored));
}

} // namespace

StagedFile::StagedFile(std::filesystem::path destination, unsigned permissions)
    : destination_(std::move(destination)),
      stagedURL_(destination_.parent_path() /
                 (".bleedwise-" + TemporaryFile::randomUUID() + ".part")),
      file_(::open(stagedURL_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)) {
    if (!file_)
        fail(errno);
    if (::fchmod(file_.get(), permissions) != 0 && errno != EPERM && errno != ENOTSUP) {
        // File systems without permissions, such as FAT, answer EPERM: nothing to keep there.
        const int code = errno;
        ::unlink(stagedURL_.c_str());
        fail(code);
    }
}

StagedFile::~StagedFile() {
    if (stagedExists_)
        ::unlink(stagedURL_.c_str());
}

void StagedFile::append(std::string_view bytes) {
    if (gathered_.size() + bytes.size() > writeSize) {
        write(gathered_);
        gathered_.clear();
    }
    if (bytes.size() > writeSize)
        write(bytes);
    else
        gathered_ += bytes;
}

void StagedFile::append(const MappedFile& file) {
    constexpr std::size_t window = 4U << 20U;
    const std::string_view bytes = file.bytes();
    for (std::size_t copied = 0; copied < bytes.size(); copied += window) {
        append(bytes.substr(copied, window));
        file.release(copied);
    }
}

void StagedFile::write(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written =
            ::write(file_.get(), bytes.data(), std::min(bytes.size(), writeSize));
        if (written > 0)
            bytes.remove_prefix(static_cast<std::size_t>(written));
        else if (written == 0 || errno != EINTR)
            fail(written == 0 ? EIO : errno);
    }
}

void StagedFile::commit(Durability durability) {
    write(gathered_);
    if (durability == Durability::powerFailure && ::fsync(file_.get()) != 0)
        fail(errno);
    if (const int code = file_.close())
        fail(code); // network file systems report a full disk only here
    // Replacing a file by rename makes ext4 write the new one out at once, a large part of the time
    // that a big file takes. Changing places with it does not; the destructor removes the old file.
    if (durability == Durability::processFailure && isRegularFile(destination_) &&
        ::renameat2(AT_FDCWD, stagedURL_.c_str(), AT_FDCWD, destination_.c_str(),
                    RENAME_EXCHANGE) == 0)
        return;
    if (::rename(stagedURL_.c_str(), destination_.c_str()) != 0)
        fail(errno);
    stagedExists_ = false;
    if (durability == Durability::powerFailure)
        flushNamesToDisk(destination_.parent_path());
}

void StagedFile::fail(int code) const {
    throw FileSystemError("write", destination_, code);
}

int flushToDisk(const std::filesystem::path& file) noexcept {
    const FileDescriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    return !opened || ::fsync(opened.get()) != 0 ? errno : 0;
}

void flushNamesToDisk(const std::filesystem::path& folder) noexcept {
    const FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened)
        ::fsync(opened.get());
}

} // namespace Bleedwise
