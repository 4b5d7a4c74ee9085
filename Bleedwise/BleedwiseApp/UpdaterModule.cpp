#include "BleedwiseApp/UpdaterModule.h"

#include "BleedwiseApp/ModuleLibrary.h"

namespace Bleedwise::UpdaterModule {

std::unique_ptr<StandardUpdaterController> makeController() {
    using Make = StandardUpdaterController*();
    try {
        void* library = ModuleLibrary::load("bleedwise-updater.so");
        return std::unique_ptr<StandardUpdaterController>(reinterpret_cast<Make*>(
            ModuleLibrary::function(library, "makeBleedwiseUpdaterController"))());
    } catch (const ModuleLibrary::LoadError&) {
        return nullptr; // a program without an updater is still one
    }
}

} // namespace Bleedwise::UpdaterModule
