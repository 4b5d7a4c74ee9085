#include "BleedwiseApp/DesktopModule.h"

#include "BleedwiseApp/ModuleLibrary.h"

namespace Bleedwise::DesktopModule {

Functions load() {
    try {
        void* library = ModuleLibrary::load("bleedwise-desktop.so");
        return {reinterpret_cast<Run*>(ModuleLibrary::function(library, "runBleedwiseDesktop")),
                reinterpret_cast<SparkleConfigurationIsReady*>(
                    ModuleLibrary::function(library, "bleedwiseSparkleConfigurationIsReady"))};
    } catch (const ModuleLibrary::LoadError& error) {
        throw LoadError("The window cannot be opened: " + error.errorDescription());
    }
}

} // namespace Bleedwise::DesktopModule
