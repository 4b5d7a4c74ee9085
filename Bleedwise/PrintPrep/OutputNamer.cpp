#include "PrintPrep/OutputNamer.h"

#include "PrintPrep/platform/FileSystemError.h"
#include "PrintPrep/platform/MappedFile.h"
#include "PrintPrep/platform/StagedFile.h"

#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

namespace Bleedwise::OutputNamer {
namespace {

void refuseAllButFiles(const std::filesystem::path& destination) {
    struct stat status = {};
    if (::stat(destination.c_str(), &status) != 0 || S_ISREG(status.st_mode))
        return; // whatever else is wrong with the path, the move will say
    if (S_ISDIR(status.st_mode))
        throw FileSystemError("write", destination, EISDIR);
    throw FileSystemError("write", destination, "Not a regular file");
}

void copyAndRemove(const std::filesystem::path& destination, const std::filesystem::path& source) {
    const MappedFile file(source);
    StagedFile staged(destination, file.permissions());
    staged.append(file);
    staged.commit(Durability::powerFailure);
    // The result is in place: a source that cannot be removed is litter, not a failure.
    ::unlink(source.c_str());
}

} // namespace

std::filesystem::path defaultOutputURL(const std::filesystem::path& inputURL,
                                       const PrintSettings& settings) {
    std::filesystem::path name = inputURL.stem();
    name += settings.fileNameSuffix() + ".pdf";
    return inputURL.parent_path() / name;
}

void replaceItem(const std::filesystem::path& destination, const std::filesystem::path& source) {
    refuseAllButFiles(destination);
    if (const int code = flushToDisk(source))
        throw FileSystemError("read", source, code);
    if (::rename(source.c_str(), destination.c_str()) == 0) {
        flushNamesToDisk(destination.parent_path());
    } else if (errno == EXDEV) {
        copyAndRemove(destination, source);
    } else {
        throw FileSystemError("write", destination, errno);
    }
}

} // namespace Bleedwise::OutputNamer
