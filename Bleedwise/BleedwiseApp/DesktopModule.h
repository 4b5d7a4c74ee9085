#pragma once

#include "PrintPrep/platform/LocalizedError.h"

#include <string>
#include <utility>

class QObject;

/// The window's part of the program, a library of its own beside the executable: a conversion from
/// the command line never loads it, nor the dozens of libraries that it needs, which would take
/// many times as long as an argument error or a small file.
namespace Bleedwise::DesktopModule {

/// The window's part is missing or cannot be loaded.
class LoadError : public LocalizedError {
public:
    explicit LoadError(std::string description) : LocalizedError(std::move(description)) {}
};

/// Shows the window until it is closed; gives the exit status. Takes the arguments of `main`, and
/// the updater that its menu offers, if there is one.
using Run = int(int argc, char** argv, QObject* updater);

/// Whether the program's information dictionary describes an updater.
using SparkleConfigurationIsReady = bool();

struct Functions {
    Run* run;
    SparkleConfigurationIsReady* sparkleConfigurationIsReady;
};

/// Loads "bleedwise-desktop.so" from the application folder, or else from its neighbour
/// ../lib/bleedwise. It stays loaded. Throws `LoadError`.
Functions load();

} // namespace Bleedwise::DesktopModule
