#include "PrintPrep/platform/ChildProcess.h"

#include "PrintPrep/platform/FileDescriptor.h"
#include "PrintPrep/platform/FileSystemError.h"
#include "PrintPrep/platform/OperationStopped.h"
#include "PrintPrep/platform/StopSignal.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Bleedwise::ChildProcess {
namespace {

struct Pipe {
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

Pipe makePipe(const std::filesystem::path& executable) {
    std::array<int, 2> ends = {};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        throw FileSystemError("start", executable, errno);
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

/// This process's environment with `changes` made, as "NAME=value" texts.
std::vector<std::string> environmentWith(const std::vector<EnvironmentVariable>& changes) {
    std::vector<std::string> environment;
    for (char** entry = environ; entry && *entry; ++entry) {
        const std::string_view text(*entry);
        bool changed = false;
        for (const auto& [name, value] : changes)
            changed =
                changed || (text.starts_with(name) && text.substr(name.size()).starts_with('='));
        if (!changed)
            environment.emplace_back(text);
    }
    for (const auto& [name, value] : changes)
        environment.push_back(name + '=' + value);
    return environment;
}

/// The null-ended pointer array that `execve` takes; the texts stay owned by `texts`.
std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

enum class Group {
    /// The parent's, which a terminal's signals reach as a whole.
    parents,
    /// One of the child's own, which can be killed as a whole.
    own,
};

/// The child's side of the fork: only calls that are safe between fork and exec.
[[noreturn]] void becomeProgram(const char* executable, char* const* arguments,
                                char* const* environment, int output, int failure, pid_t parent,
                                Group group) noexcept {
    if (group == Group::own)
        ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent)
        ::_exit(127); // the parent died before the line above took effect
    ::dup2(output, STDOUT_FILENO);
    ::dup2(output, STDERR_FILENO);
    ::signal(SIGPIPE, SIG_DFL);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::execve(executable, arguments, environment);
    const int code = errno;
    [[maybe_unused]] const ssize_t written = ::write(failure, &code, sizeof code);
    ::_exit(127);
}

/// What a child counts as having ended with when the kernel no longer knows: a failure.
constexpr int unknownStatus = 255;

/// A started child: killed, with its own group, and reaped when it goes out of scope before
/// `wait()` was called.
class Child {
public:
    Child(pid_t process, Group group) : process_(process), group_(group) {}
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() {
        if (process_ > 0) {
            ::kill(group_ == Group::own ? -process_ : process_, SIGKILL);
            wait();
        }
    }

    int wait() noexcept {
        int status = 0;
        pid_t ended = -1;
        do
            ended = ::waitpid(process_, &status, 0);
        while (ended < 0 && errno == EINTR);
        process_ = -1;
        if (ended < 0)
            return unknownStatus;
        return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }

private:
    pid_t process_;
    Group group_;
};

/// Appends what one read gives. False at the end of the pipe, or when it is empty for now.
bool readSome(int pipe, std::string& text) {
    std::array<char, 1U << 16U> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init)
    for (;;) {
        const ssize_t count = ::read(pipe, buffer.data(), buffer.size());
        if (count > 0) {
            text.append(buffer.data(), static_cast<std::size_t>(count));
            return true;
        }
        if (count == 0 || errno != EINTR)
            return false;
    }
}

/// Empties the pipe until its end, or until the child has exited and nothing more is in it.
std::string readWhileRunning(int pipe, pid_t process, const StopSignal& stop) {
    std::string text;
    // By number: glibc 2.36 declares the function without C linkage. None on kernels before 5.3.
    const FileDescriptor exit(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
    std::array<pollfd, 3> waits = {pollfd{pipe, POLLIN, 0}, pollfd{exit.get(), POLLIN, 0},
                                   pollfd{stop.descriptor(), POLLIN, 0}};
    for (;;) {
        if (::poll(waits.data(), waits.size(), -1) < 0)
            continue; // EINTR
        if (waits[2].revents != 0)
            throw OperationStopped();
        if (waits[0].revents != 0 && !readSome(pipe, text))
            return text;
        if (waits[1].revents != 0) {
            ::fcntl(pipe, F_SETFL, O_NONBLOCK);
            while (readSome(pipe, text)) {
            }
            return text;
        }
    }
}

/// What is told of a start that fails for want of descriptors.
StopSignal signalOf(const std::stop_token& stop, const std::filesystem::path& executable) {
    try {
        return StopSignal(stop);
    } catch (const std::system_error& error) {
        throw FileSystemError("start", executable, error.code().value());
    }
}

} // namespace

void keepStatuses() noexcept {
    struct sigaction action = {};
    ::sigaction(SIGCHLD, nullptr, &action);
    if (action.sa_handler == SIG_IGN || (action.sa_flags & SA_NOCLDWAIT) != 0)
        ::signal(SIGCHLD, SIG_DFL);
}

Outcome run(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
            const std::vector<EnvironmentVariable>& changes, const std::stop_token& stop) {
    throwIfStopped(stop);
    std::vector<std::string> argumentTexts = {executable.native()};
    argumentTexts.insert(argumentTexts.end(), arguments.begin(), arguments.end());
    std::vector<std::string> environmentTexts = environmentWith(changes);
    const std::vector<char*> argumentPointers = pointers(argumentTexts);
    const std::vector<char*> environmentPointers = pointers(environmentTexts);

    keepStatuses();
    Pipe output = makePipe(executable);
    Pipe failure = makePipe(executable);
    const StopSignal stopSignal = signalOf(stop, executable);
    const Group group = stop.stop_possible() ? Group::own : Group::parents;
    const pid_t parent = ::getpid();
    const pid_t process = ::fork();
    if (process < 0)
        throw FileSystemError("start", executable, errno);
    if (process == 0)
        becomeProgram(executable.c_str(), argumentPointers.data(), environmentPointers.data(),
                      output.writeEnd.get(), failure.writeEnd.get(), parent, group);

    Child child(process, group);
    output.writeEnd.close();
    failure.writeEnd.close();

    // The failure pipe closes by itself when the program starts.
    std::string startFailure;
    while (readSome(failure.readEnd.get(), startFailure)) {
    }
    if (int code = 0; startFailure.size() == sizeof code) {
        std::memcpy(&code, startFailure.data(), sizeof code);
        throw FileSystemError("start", executable, code);
    }

    Outcome outcome;
    outcome.consoleText = readWhileRunning(output.readEnd.get(), process, stopSignal);
    outcome.exitStatus = child.wait();
    return outcome;
}

} // namespace Bleedwise::ChildProcess
