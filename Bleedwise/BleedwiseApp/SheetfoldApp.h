#pragma once

#include "BleedwiseApp/DesktopModule.h"
#include "BleedwiseApp/updater/StandardUpdaterController.h"

#include <memory>

namespace Bleedwise {

/// The application. It decides once, when it is made, what the process is: a conversion from the
/// command line, or one window. Main thread.
class SheetfoldApp {
public:
    /// Brings the user's settings up to date, for either; then, if the arguments ask for a
    /// conversion, converts and ends the process; then makes the updater, if one is configured.
    /// Throws `LocalizedError` when the system does not tell the arguments, or when the window's
    /// part of the program cannot be loaded.
    SheetfoldApp();

    /// Shows the window until it is closed; gives the exit status. Takes the arguments of `main`.
    int run(int argc, char** argv);

private:
    DesktopModule::Functions desktop_;
    /// Null when the program has no updater.
    std::unique_ptr<StandardUpdaterController> updaterController_;
};

} // namespace Bleedwise
