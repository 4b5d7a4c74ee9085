#include "BleedwiseApp/updater/MainBundleUpdater.h"

/// What `UpdaterModule::makeController()` looks for. The caller owns the result.
extern "C" [[gnu::visibility("default")]] Bleedwise::StandardUpdaterController*
makeBleedwiseUpdaterController() {
    return Bleedwise::makeMainBundleUpdater().release();
}
