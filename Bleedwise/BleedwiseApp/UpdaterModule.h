#pragma once

#include "BleedwiseApp/updater/StandardUpdaterController.h"

#include <memory>

/// The updater's part of the program, a library of its own beside the executable: where no updater
/// is configured, nothing that reaches the network is loaded on its account.
namespace Bleedwise::UpdaterModule {

/// Loads "bleedwise-updater.so", which lies where the window's part lies, and makes the controller
/// of the program's updater, which starts with the event loop. Null when the library is missing or
/// cannot be loaded.
std::unique_ptr<StandardUpdaterController> makeController();

} // namespace Bleedwise::UpdaterModule
