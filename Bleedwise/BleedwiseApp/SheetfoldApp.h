#pragma once

namespace Bleedwise {

/// The application. It decides once, when it is made, what the process is: a conversion from the
/// command line, or one window. Main thread.
class SheetfoldApp {
public:
    /// Brings the user's settings up to date, for either; then, if the arguments ask for a
    /// conversion, converts and ends the process. Throws `LocalizedError` when the system does not
    /// tell the arguments.
    SheetfoldApp();

    /// Shows the window until it is closed; gives the exit status. Takes the arguments of `main`.
    /// Throws `LocalizedError` when the window's part of the program cannot be loaded.
    int run(int argc, char** argv);
};

} // namespace Bleedwise
