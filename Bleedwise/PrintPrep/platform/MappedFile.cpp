#include "PrintPrep/platform/MappedFile.h"

#include "PrintPrep/platform/FileDescriptor.h"
#include "PrintPrep/platform/FileSystemError.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Bleedwise {

MappedFile::MappedFile(const std::filesystem::path& url) {
    // Without O_NONBLOCK, opening a named pipe that nobody writes to would wait for ever.
    const FileDescriptor file(::open(url.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (!file || ::fstat(file.get(), &status) != 0)
        throw FileSystemError("read", url, errno);
    if (S_ISDIR(status.st_mode))
        throw FileSystemError("read", url, EISDIR);
    if (!S_ISREG(status.st_mode))
        throw FileSystemError("read", url, "Not a regular file");
    permissions_ = status.st_mode & 07777;
    size_ = static_cast<std::size_t>(status.st_size);
    if (size_ == 0)
        return; // an empty mapping is an error to the kernel
    void* mapping = ::mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, file.get(), 0);
    if (mapping == MAP_FAILED)
        throw FileSystemError("read", url, errno);
    ::madvise(mapping, size_, MADV_SEQUENTIAL);
    data_ = static_cast<const char*>(mapping);
}

void MappedFile::release(std::size_t size) const noexcept {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    if (const std::size_t wholePages = size / page * page)
        ::madvise(const_cast<char*>(data_), wholePages, MADV_DONTNEED);
}

MappedFile::~MappedFile() {
    if (data_)
        ::munmap(const_cast<char*>(data_), size_);
}

} // namespace Bleedwise
