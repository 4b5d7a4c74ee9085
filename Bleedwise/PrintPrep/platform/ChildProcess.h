#pragma once

#include <filesystem>
#include <stop_token>
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
/// Calls `keepStatuses()`.
///
/// A stop request kills the child, and `OperationStopped` is thrown. So that nothing which the
/// child started stays behind either, a child that can be stopped has a process group of its own.
///
/// Throws `FileSystemError` when the program cannot be started.
Outcome run(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
            const std::vector<EnvironmentVariable>& changes, const std::stop_token& stop = {});

/// Sets an ignored SIGCHLD back to its default for the process. A caller may have left it ignored,
/// which outlives exec; the kernel then forgets each child at once, and its number may be another
/// process's by the time that it is waited for.
void keepStatuses() noexcept;

} // namespace Bleedwise::ChildProcess
