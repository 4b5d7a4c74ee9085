#include "PrintPrep/platform/Sandbox.h"

#include "support/TemporaryFolder.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <functional>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

using Testing::TemporaryFolder;

/// A limit that the sanitizers, which reserve terabytes, can live with.
#ifdef __SANITIZE_ADDRESS__
constexpr std::uint64_t memory = Sandbox::unlimitedMemory;
#else
constexpr std::uint64_t memory = 1ULL << 30U;
#endif

enum class Lock { paths, calls };
constexpr int notSupported = 200;
constexpr int allowed = 0;

/// What a locked-in process gets for a call that gives −1 on failure: `allowed`, or its `errno`.
int attempt(Lock lock, const std::function<long()>& call) {
    const pid_t parent = ::getpid();
    const pid_t process = ::fork();
    if (process == 0) {
        const Sandbox::Locks locks = Sandbox::lockIn(parent, STDERR_FILENO, memory);
        if (lock == Lock::paths ? !locks.paths : !locks.calls)
            ::_exit(notSupported);
        ::_exit(call() == -1 ? errno : allowed);
    }
    int status = 0;
    ::waitpid(process, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

#define EXPECT_DENIED(lock, code, call)                                                            \
    do {                                                                                           \
        const int result = attempt(lock, [&]() -> long { return call; });                          \
        if (result == notSupported)                                                                \
            GTEST_SKIP() << "the kernel has no such lock";                                         \
        EXPECT_EQ(result, code);                                                                   \
    } while (false)

TEST(Sandbox, DeniesReadingInTheTemporaryFolder) {
    const TemporaryFolder folder;
    const auto file = folder.file("secret", "secret");
    EXPECT_DENIED(Lock::paths, EACCES, ::open(file.c_str(), O_RDONLY));
}

TEST(Sandbox, DeniesReadingInTheHomeFolder) {
    const char* home = std::getenv("HOME");
    if (!home)
        GTEST_SKIP() << "no home folder";
    EXPECT_DENIED(Lock::paths, EACCES, ::open(home, O_RDONLY | O_DIRECTORY));
}

TEST(Sandbox, DeniesReadingTheUsersOfTheSystem) {
    EXPECT_DENIED(Lock::paths, EACCES, ::open("/etc/passwd", O_RDONLY));
}

TEST(Sandbox, DeniesReadingAboutOtherProcesses) {
    EXPECT_DENIED(Lock::paths, EACCES, ::open("/proc/1/status", O_RDONLY));
}

TEST(Sandbox, LetsFontsBeRead) {
    EXPECT_EQ(
        attempt(Lock::calls, [] { return ::open("/usr/share/fonts", O_RDONLY | O_DIRECTORY); }),
        allowed);
}

TEST(Sandbox, DeniesWriting) {
    const TemporaryFolder folder;
    const auto file = folder.file("old", "old");
    EXPECT_DENIED(Lock::calls, EPERM, ::open(file.c_str(), O_WRONLY));
}

TEST(Sandbox, DeniesMakingFiles) {
    const TemporaryFolder folder;
    EXPECT_DENIED(Lock::calls, EPERM,
                  ::open((folder / "new").c_str(), O_RDONLY | O_CREAT, S_IRUSR));
}

TEST(Sandbox, DeniesFilesWithoutAName) {
    const TemporaryFolder folder;
    EXPECT_DENIED(Lock::calls, EPERM, ::open(folder.path().c_str(), O_TMPFILE | O_RDWR, S_IRUSR));
}

TEST(Sandbox, DeniesRemovingFiles) {
    const TemporaryFolder folder;
    const auto file = folder.file("old", "old");
    EXPECT_DENIED(Lock::calls, EPERM, ::unlink(file.c_str()));
}

TEST(Sandbox, DeniesMakingSockets) {
    EXPECT_DENIED(Lock::calls, EPERM, ::socket(AF_INET, SOCK_STREAM, 0));
}

TEST(Sandbox, DeniesConnecting) {
    EXPECT_DENIED(Lock::calls, EPERM, ::connect(STDIN_FILENO, nullptr, 0));
}

TEST(Sandbox, DeniesStartingPrograms) {
    char* const nothing[] = {nullptr};
    EXPECT_DENIED(Lock::calls, EPERM, ::execve("/bin/true", nothing, nothing));
}

TEST(Sandbox, DeniesMakingProcesses) {
    EXPECT_DENIED(Lock::calls, EPERM, ::syscall(SYS_clone, SIGCHLD, 0, 0, 0, 0));
}

TEST(Sandbox, DeniesKillingTheParent) {
    EXPECT_DENIED(Lock::calls, EPERM, ::kill(::getppid(), SIGCONT));
}

TEST(Sandbox, DeniesSignalsByWayOfThreads) {
    const pid_t parent = ::getppid();
    EXPECT_DENIED(Lock::calls, EPERM, ::syscall(SYS_tgkill, parent, parent, SIGCONT));
}

TEST(Sandbox, DeniesSignalsByWayOfDescriptors) {
    EXPECT_DENIED(Lock::calls, EPERM, ::fcntl(STDIN_FILENO, F_SETOWN, ::getppid()));
}

TEST(Sandbox, DeniesTracing) {
    EXPECT_DENIED(Lock::calls, EPERM, ::ptrace(PTRACE_ATTACH, ::getppid(), nullptr, nullptr));
}

TEST(Sandbox, DeniesReadingTheParentsMemory) {
    EXPECT_DENIED(Lock::calls, EPERM,
                  ::syscall(SYS_process_vm_readv, ::getppid(), nullptr, 0, nullptr, 0, 0));
}

TEST(Sandbox, DeniesChangingTheParentsLimits) {
    EXPECT_DENIED(Lock::calls, EPERM, ::prlimit(::getppid(), RLIMIT_CORE, nullptr, nullptr));
}

TEST(Sandbox, DeniesNewExecutableMemory) {
    EXPECT_DENIED(Lock::calls, EPERM,
                  reinterpret_cast<std::intptr_t>(::mmap(nullptr, 4096, PROT_READ | PROT_EXEC,
                                                         MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)));
}

TEST(Sandbox, DeniesMakingMemoryExecutable) {
    void* page = ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(page, MAP_FAILED);
    EXPECT_DENIED(Lock::calls, EPERM, ::mprotect(page, 4096, PROT_READ | PROT_EXEC));
}

TEST(Sandbox, DeniesNewNamespaces) {
    EXPECT_DENIED(Lock::calls, EPERM, ::unshare(CLONE_NEWUSER));
}

TEST(Sandbox, LeavesNoOtherDescriptor) {
    const int extra = ::fcntl(STDERR_FILENO, F_DUPFD, 10);
    EXPECT_EQ(attempt(Lock::calls, [&] { return ::fcntl(extra, F_GETFD); }), EBADF);
    ::close(extra);
}

TEST(Sandbox, LimitsTheNumberOfDescriptors) {
    EXPECT_EQ(attempt(Lock::calls,
                      [] {
                          int copy = 0;
                          for (int count = 0; copy >= 0 && count < 1000; ++count)
                              copy = ::dup(STDERR_FILENO);
                          return copy;
                      }),
              EMFILE);
}

TEST(Sandbox, LimitsMemory) {
    if (memory == Sandbox::unlimitedMemory)
        GTEST_SKIP() << "the sanitizers need too much";
    EXPECT_EQ(attempt(Lock::calls,
                      [] {
                          return reinterpret_cast<std::intptr_t>(
                              ::mmap(nullptr, memory, PROT_READ | PROT_WRITE,
                                     MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
                      }),
              ENOMEM);
}

TEST(Sandbox, LeavesNoCoreFile) {
    EXPECT_EQ(attempt(Lock::calls,
                      [] {
                          rlimit limit = {1, 1};
                          ::getrlimit(RLIMIT_CORE, &limit);
                          errno = EINVAL;
                          return limit.rlim_max == 0 ? 0 : -1;
                      }),
              allowed);
}

/// Whether a process that is locked in with this parent is still there afterwards.
bool survives(pid_t parent) {
    const pid_t process = ::fork();
    if (process == 0) {
        Sandbox::lockIn(parent, STDERR_FILENO, memory);
        ::_exit(42);
    }
    int status = 0;
    ::waitpid(process, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 42;
}

TEST(Sandbox, IsLivedInByTheParentsChild) {
    EXPECT_TRUE(survives(::getpid()));
}

TEST(Sandbox, EndsAProcessWhoseParentIsGone) {
    EXPECT_FALSE(survives(1));
}

} // namespace
} // namespace Bleedwise
