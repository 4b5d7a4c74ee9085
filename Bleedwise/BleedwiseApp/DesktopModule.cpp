#include "BleedwiseApp/DesktopModule.h"

#include "PrintPrep/platform/ProcessInfo.h"

#include <array>
#include <filesystem>
#include <string>
#include <system_error>

#include <dlfcn.h>

namespace Bleedwise::DesktopModule {
namespace {

using std::filesystem::path;

path moduleURL() {
    constexpr const char* name = "bleedwise-desktop.so";
    const path folder = ProcessInfo::applicationFolder();
    for (const path& url : std::array{folder / name, folder / "../lib/bleedwise" / name}) {
        std::error_code ignored;
        if (std::filesystem::is_regular_file(url, ignored))
            return url;
    }
    throw LoadError("The window cannot be opened: there is no " + std::string(name) + " in " +
                    folder.native());
}

/// The dynamic linker's complaint about its last failure.
LoadError lastError() {
    const char* reason = ::dlerror();
    return LoadError(std::string("The window cannot be opened: ") + (reason ? reason : "?"));
}

} // namespace

Run* load() {
    void* library = ::dlopen(moduleURL().c_str(), RTLD_NOW);
    void* run = library ? ::dlsym(library, "runBleedwiseDesktop") : nullptr;
    if (!run)
        throw lastError();
    return reinterpret_cast<Run*>(run); // POSIX, dlsym
}

} // namespace Bleedwise::DesktopModule
