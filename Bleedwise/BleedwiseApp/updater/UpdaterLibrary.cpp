#include "BleedwiseApp/updater/MainBundleUpdater.h"

/// What `UpdaterModule::makeController()` looks for. The caller owns the result. The executable's
/// C++ runtime is another one, so no exception may leave.
extern "C" [[gnu::visibility("default")]] Bleedwise::StandardUpdaterController*
makeBleedwiseUpdaterController() noexcept {
    return Bleedwise::makeMainBundleUpdater().release();
}
