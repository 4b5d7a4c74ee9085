#include "PrintPrep/platform/HelperProcess.h"

#include "PrintPrep/platform/ChildProcess.h"
#include "PrintPrep/platform/FileSystemError.h"
#include "PrintPrep/platform/MessageSocket.h"

#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

/// What happens in the child between its birth and the program's start.
class Preparation {
public:
    explicit Preparation(int socket) {
        ::posix_spawn_file_actions_init(&files_);
        ::posix_spawnattr_init(&attributes_);
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            ::posix_spawn_file_actions_addopen(&files_, stream, "/dev/null", O_RDWR, 0);
        ::posix_spawn_file_actions_adddup2(&files_, socket, HelperProcess::socketDescriptor);
        sigset_t none;
        ::sigemptyset(&none);
        sigset_t all;
        ::sigfillset(&all);
        ::posix_spawnattr_setsigmask(&attributes_, &none);
        ::posix_spawnattr_setsigdefault(&attributes_, &all);
        ::posix_spawnattr_setpgroup(&attributes_, 0);
        ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                                                     POSIX_SPAWN_SETPGROUP);
    }
    Preparation(const Preparation&) = delete;
    Preparation& operator=(const Preparation&) = delete;
    ~Preparation() {
        ::posix_spawn_file_actions_destroy(&files_);
        ::posix_spawnattr_destroy(&attributes_);
    }

    const posix_spawn_file_actions_t* files() const { return &files_; }
    const posix_spawnattr_t* attributes() const { return &attributes_; }

private:
    posix_spawn_file_actions_t files_ = {};
    posix_spawnattr_t attributes_ = {};
};

/// The child's end, with a number above those that the child's own descriptors take.
FileDescriptor outOfTheWay(const FileDescriptor& socket) {
    FileDescriptor copy(
        ::fcntl(socket.get(), F_DUPFD_CLOEXEC, HelperProcess::socketDescriptor + 1));
    if (!copy)
        throw std::system_error(errno, std::generic_category());
    return copy;
}

/// The null-ended pointer array that `posix_spawn` takes; the texts stay owned by `texts`.
std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

} // namespace

HelperProcess::HelperProcess(const std::filesystem::path& executable,
                             std::vector<std::string> environment) {
    try {
        ChildProcess::keepStatuses();
        auto [ours, theirs] = MessageSocket::makePair();
        const FileDescriptor end = outOfTheWay(theirs);
        const Preparation preparation(end.get());
        std::vector<std::string> arguments = {executable.native(), std::to_string(::getpid())};
        const int code = ::posix_spawn(&process_, executable.c_str(), preparation.files(),
                                       preparation.attributes(), pointers(arguments).data(),
                                       pointers(environment).data());
        if (code != 0)
            throw std::system_error(code, std::generic_category());
        socket_ = std::move(ours);
    } catch (const std::system_error& error) {
        throw FileSystemError("start", executable, error.code().value());
    }
}

void HelperProcess::kill() noexcept {
    ::kill(process_, SIGKILL);
}

HelperProcess::~HelperProcess() {
    kill();
    while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
    }
}

} // namespace Bleedwise
