#include "PrintPrep/platform/StagedFile.h"

#include "PrintPrep/platform/FileSystemError.h"
#include "PrintPrep/platform/TemporaryFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

/// Linux moves at most 0x7ffff000 bytes in one write; smaller steps also keep a kill prompt.
constexpr std::size_t largestWrite = 64U << 20U;

/// Pieces up to this size, in bytes, share a write.
constexpr std::size_t largestGathered = 64U << 10U;

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
    if (gathered_.size() + bytes.size() > largestGathered) {
        write(gathered_);
        gathered_.clear();
    }
    if (bytes.size() > largestGathered)
        write(bytes);
    else
        gathered_ += bytes;
}

void StagedFile::write(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written =
            ::write(file_.get(), bytes.data(), std::min(bytes.size(), largestWrite));
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
    if (durability == Durability::processFailure &&
        ::renameat2(AT_FDCWD, stagedURL_.c_str(), AT_FDCWD, destination_.c_str(),
                    RENAME_EXCHANGE) == 0)
        return;
    if (::rename(stagedURL_.c_str(), destination_.c_str()) != 0)
        fail(errno);
    stagedExists_ = false;
    if (durability == Durability::powerFailure) {
        if (const int code = flushToDisk(destination_.parent_path()))
            fail(code);
    }
}

void StagedFile::fail(int code) const {
    throw FileSystemError("write", destination_, code);
}

int flushToDisk(const std::filesystem::path& url) noexcept {
    FileDescriptor file(::open(url.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file)
        return errno;
    // EINVAL: this file system has no such operation for this kind of file.
    return ::fsync(file.get()) != 0 && errno != EINVAL ? errno : 0;
}

} // namespace Bleedwise
