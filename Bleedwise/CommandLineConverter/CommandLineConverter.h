#pragma once

#include "PrintPrep/Ghostscript.h"

#include <filesystem>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

/// Converts one file from the command line.
namespace Bleedwise::CommandLineConverter {

/// Returns at once when "--convert" is not among the process's arguments. Otherwise converts the
/// file that they name and ends the process: with status 0 when the result is in place, with 1 and
/// one message on standard error when it is not. Main thread, before anything of the desktop
/// exists.
void runIfRequested();

/// Where a run looks for what it needs.
struct Discovery {
    std::function<std::optional<Ghostscript::Installation>()> ghostscript;
    std::function<std::optional<std::filesystem::path>()> profile;
};

/// The run itself; returns the exit status. Each line is flushed as it is written, and nothing is
/// written to `output` after an error. After a failure an existing result is as it was, and the
/// work file may be left in the temporary directory.
int convert(const std::vector<std::string>& arguments, const Discovery& discovery,
            std::ostream& output, std::ostream& error);

} // namespace Bleedwise::CommandLineConverter
