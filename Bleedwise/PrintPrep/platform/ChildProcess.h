#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

/// Runs another program and waits for it.
namespace Bleedwise::ChildProcess {

struct Outcome {
    /// The program's exit status, or 128 plus the signal number that ended it.
    int exitStatus = 0;
    /// Everything that it wrote to standard output and standard error, in the order of writing.
    std::string consoleText;
};

/// A variable to set in the child's environment, beside or in place of an inherited one.
using EnvironmentVariable = std::pair<std::string, std::string>;

/// Starts `executable` with `arguments` (without a shell, its own path as argument 0), waits for
/// its end and returns what it said. It inherits the environment, the current folder and standard
/// input; standard output and standard error share one pipe, which is emptied all the while, so
/// that a program may write as much as it likes.
///
/// Blocks the calling thread. The child is killed when the calling thread or process dies, and is
/// reaped on every way out of this function. Descendants that outlive the child and still hold the
/// pipe do not delay the return.
///
/// An ignored SIGCHLD is set back to its default for the process, since the kernel keeps no exit
/// statuses otherwise.
///
/// Throws `FileSystemError` when the program cannot be started.
Outcome run(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
            const std::vector<EnvironmentVariable>& changes);

} // namespace Bleedwise::ChildProcess
