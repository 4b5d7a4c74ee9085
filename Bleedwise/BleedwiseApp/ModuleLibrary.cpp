#include "BleedwiseApp/ModuleLibrary.h"

#include "PrintPrep/platform/ProcessInfo.h"

#include <array>
#include <filesystem>
#include <system_error>

#include <dlfcn.h>

namespace Bleedwise::ModuleLibrary {
namespace {

using std::filesystem::path;

path libraryURL(const char* name) {
    const path folder = ProcessInfo::applicationFolder();
    for (const path& url : std::array{folder / name, folder / "../lib/bleedwise" / name}) {
        std::error_code ignored;
        if (std::filesystem::is_regular_file(url, ignored))
            return url;
    }
    throw LoadError("there is no " + std::string(name) + " in " + folder.native());
}

/// The dynamic linker's complaint about its last failure.
LoadError lastError() {
    const char* reason = ::dlerror();
    return LoadError(reason ? reason : "?");
}

} // namespace

void* load(const char* libraryName) {
    void* library = ::dlopen(libraryURL(libraryName).c_str(), RTLD_NOW);
    if (!library)
        throw lastError();
    return library;
}

void* function(void* library, const char* name) {
    void* address = ::dlsym(library, name);
    if (!address)
        throw lastError();
    return address;
}

} // namespace Bleedwise::ModuleLibrary
