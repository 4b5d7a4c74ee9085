#pragma once

#include "PrintPrep/platform/FileDescriptor.h"

#include <filesystem>
#include <string>
#include <vector>

#include <sys/types.h>

namespace Bleedwise {

/// A program that works for this process over a socket. Killed and reaped at the end of this
/// object; its own business is to end when this process does, whose number it gets as its only
/// argument.
///
/// It starts with the socket as descriptor `HelperProcess::socketDescriptor`, with standard streams
/// that lead nowhere, with the environment given, in a process group of its own (a terminal's
/// signals concern the user's program, which decides what becomes of its helpers), and with every
/// signal as the system has it.
class HelperProcess {
public:
    /// Throws `FileSystemError` when `executable` cannot be started. Calls
    /// `ChildProcess::keepStatuses()`.
    HelperProcess(const std::filesystem::path& executable, std::vector<std::string> environment);
    HelperProcess(const HelperProcess&) = delete;
    HelperProcess& operator=(const HelperProcess&) = delete;
    ~HelperProcess();

    /// This process's end.
    int socket() const noexcept { return socket_.get(); }
    pid_t number() const noexcept { return process_; }

    /// Ends it at once. To wait for its end, and only then, is the destructor's part, so that
    /// several can end side by side.
    void kill() noexcept;

    /// The helper's end, in the helper.
    static constexpr int socketDescriptor = 3;

private:
    FileDescriptor socket_;
    pid_t process_ = -1;
};

} // namespace Bleedwise
