#include "PrintPrep/platform/SharedMemory.h"

#include <cerrno>
#include <limits>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace Bleedwise {

std::optional<SharedMemory> SharedMemory::create(std::size_t size) {
    if (size == 0 || size > static_cast<std::size_t>(std::numeric_limits<off_t>::max()))
        return std::nullopt;
    FileDescriptor file(::memfd_create("bleedwise", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (!file || ::ftruncate(file.get(), static_cast<off_t>(size)) != 0 ||
        ::fcntl(file.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW) != 0)
        return std::nullopt;
    return SharedMemory(std::move(file), size);
}

std::optional<SharedMemory> SharedMemory::copyOf(std::string_view bytes) {
    std::optional<SharedMemory> memory = create(bytes.size());
    std::size_t done = 0;
    while (memory && done < bytes.size()) {
        const ssize_t count = ::pwrite(memory->descriptor(), bytes.data() + done,
                                       bytes.size() - done, static_cast<off_t>(done));
        if (count > 0)
            done += static_cast<std::size_t>(count);
        else if (errno != EINTR)
            return std::nullopt;
    }
    if (memory && !memory->finish())
        return std::nullopt;
    return memory;
}

void SharedMemory::populate() const noexcept {
    ::fallocate(file_.get(), 0, 0, static_cast<off_t>(size_));
}

bool SharedMemory::finish() {
    return ::fcntl(file_.get(), F_ADD_SEALS, F_SEAL_WRITE | F_SEAL_SEAL) == 0;
}

std::optional<SharedMemory> SharedMemory::received(FileDescriptor memory, std::size_t size) {
    struct stat status = {};
    if (::fstat(memory.get(), &status) != 0 || std::cmp_less(status.st_size, size))
        return std::nullopt;
    return SharedMemory(std::move(memory), size);
}

std::shared_ptr<std::uint8_t> SharedMemory::map() const {
    return map(MAP_SHARED);
}

std::shared_ptr<const std::uint8_t> SharedMemory::mapFinished() const {
    return map(MAP_PRIVATE);
}

std::shared_ptr<std::uint8_t> SharedMemory::map(int flags) const {
    void* mapping = ::mmap(nullptr, size_, PROT_READ, flags, file_.get(), 0);
    if (mapping == MAP_FAILED)
        return nullptr;
    return {static_cast<std::uint8_t*>(mapping),
            [size = size_](void* block) { ::munmap(block, size); }};
}

} // namespace Bleedwise
