#include "PrintPrep/platform/Sandbox.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/landlock.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#ifndef LANDLOCK_ACCESS_FS_REFER
#define LANDLOCK_ACCESS_FS_REFER (1ULL << 13)
#endif
#ifndef LANDLOCK_ACCESS_FS_TRUNCATE
#define LANDLOCK_ACCESS_FS_TRUNCATE (1ULL << 14)
#endif

namespace Bleedwise::Sandbox {
namespace {

void dieWith(pid_t parent) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent)
        ::_exit(EXIT_FAILURE); // it died before the line above took effect
}

/// The out-of-memory killer's choice, so that the user's program is spared.
void volunteer() {
    const int file = ::open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    if (file < 0)
        return;
    [[maybe_unused]] const ssize_t written = ::write(file, "1000", 4);
    ::close(file);
}

void limit(__rlimit_resource resource, std::uint64_t value) {
    rlimit limits{};
    if (::getrlimit(resource, &limits) != 0)
        return;
    const rlim_t lowered = std::min<rlim_t>(value, limits.rlim_max);
    limits = {lowered, lowered};
    ::setrlimit(resource, &limits);
}

/// What drawing reads beside the document: fonts that are not embedded, by way of Fontconfig, and
/// Poppler's tables of character codes.
constexpr std::array<const char*, 10> readable = {
    "/etc/fonts",
    "/usr/share/fontconfig",
    "/usr/share/fonts",
    "/usr/local/share/fonts",
    "/usr/share/X11/fonts",
    "/usr/share/ghostscript",
    "/usr/share/texmf/fonts",
    "/usr/share/poppler",
    "/var/cache/fontconfig",
    "/var/lib/ghostscript/fonts",
};

/// All that Landlock can forbid in the version that the kernel has (landlock(7)).
std::uint64_t forbiddable(long version) {
    std::uint64_t rights = LANDLOCK_ACCESS_FS_MAKE_SYM * 2 - 1; // the first version's, from bit 0
    if (version >= 2)
        rights |= LANDLOCK_ACCESS_FS_REFER;
    if (version >= 3)
        rights |= LANDLOCK_ACCESS_FS_TRUNCATE;
    return rights;
}

bool restrictPaths() {
    const long version =
        ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (version < 1)
        return false;
    landlock_ruleset_attr attributes{};
    attributes.handled_access_fs = forbiddable(version);
    const int rules =
        static_cast<int>(::syscall(SYS_landlock_create_ruleset, &attributes, sizeof attributes, 0));
    if (rules < 0)
        return false;
    for (const char* path : readable) {
        const int folder = ::open(path, O_PATH | O_CLOEXEC);
        if (folder < 0)
            continue;
        landlock_path_beneath_attr rule{};
        rule.allowed_access = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;
        rule.parent_fd = folder;
        ::syscall(SYS_landlock_add_rule, rules, LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
        ::close(folder);
    }
    const bool restricted = ::syscall(SYS_landlock_restrict_self, rules, 0) == 0;
    ::close(rules);
    return restricted;
}

#if defined(__x86_64__)
constexpr unsigned architecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr unsigned architecture = AUDIT_ARCH_AARCH64;
#endif

/// Calls that may be made with any arguments. They read, compute, and answer on descriptors that
/// are there.
constexpr std::array allowed = {
    // files that are open
    SYS_read,
    SYS_readv,
    SYS_pread64,
    SYS_write,
    SYS_writev,
    SYS_pwrite64,
    SYS_lseek,
    SYS_close,
    SYS_fstat,
    SYS_dup,
    SYS_dup3,
    SYS_getdents64,
    SYS_fstatfs,
    // what paths lead to
    SYS_newfstatat,
    SYS_statx,
    SYS_faccessat,
    SYS_faccessat2,
    SYS_readlinkat,
    SYS_statfs,
    // messages on the socket that is there
    SYS_recvmsg,
    SYS_sendmsg,
    SYS_ppoll,
    // memory
    SYS_munmap,
    SYS_mremap,
    SYS_madvise,
    SYS_brk,
    // the C library's own needs
    SYS_futex,
    SYS_rt_sigaction,
    SYS_rt_sigprocmask,
    SYS_rt_sigreturn,
    SYS_sigaltstack,
    SYS_restart_syscall,
    SYS_getrandom,
    SYS_clock_gettime,
    SYS_clock_nanosleep,
    SYS_gettimeofday,
    SYS_getrusage,
    SYS_sysinfo,
    SYS_uname,
    SYS_sched_yield,
    SYS_sched_getaffinity,
    SYS_getpid,
    SYS_getppid,
    SYS_gettid,
    SYS_getuid,
    SYS_geteuid,
    SYS_getgid,
    SYS_getegid,
    SYS_exit,
    SYS_exit_group,
#ifdef __SANITIZE_ADDRESS__ // which tries addresses out by writing from them into a pipe
    SYS_pipe2,
#endif
#ifdef SYS_open // processors with a longer history
    SYS_stat,
    SYS_lstat,
    SYS_access,
    SYS_readlink,
    SYS_dup2,
    SYS_poll,
    SYS_time,
    SYS_getrlimit,
#endif
};

/// An argument that decides whether a call may be made.
struct Condition {
    long call;
    unsigned argument;
    /// The bits of the argument that count, and what they must not, or may only, be.
    unsigned mask;
    std::vector<unsigned> values;
};

/// A BPF program over the description of a system call (seccomp(2)). Values are compared by their
/// low 32 bits, which is all that the kernel looks at in those arguments.
class CallFilter {
public:
    CallFilter() {
        load(offsetof(seccomp_data, arch));
        skipUnlessEqual(architecture, 1);
        skip(1);
        finish(SECCOMP_RET_KILL_PROCESS);
        load(offsetof(seccomp_data, nr));
    }

    void allow(long call) {
        skipUnlessEqual(static_cast<unsigned>(call), 1);
        finish(SECCOMP_RET_ALLOW);
    }

    void allow(const Condition& condition) {
        const auto values = condition.values.size();
        const std::size_t rest = 2 + 2 * values + 1; // load, mask, a pair a value, refusal
        skipUnlessEqual(static_cast<unsigned>(condition.call), static_cast<std::uint8_t>(rest));
        load(static_cast<unsigned>(offsetof(seccomp_data, args) +
                                   condition.argument * sizeof(std::uint64_t)));
        program_.push_back(BPF_STMT(BPF_ALU | BPF_AND | BPF_K, condition.mask));
        for (const unsigned value : condition.values) {
            skipUnlessEqual(value, 1);
            finish(SECCOMP_RET_ALLOW);
        }
        refuse();
    }

    void refuse() { finish(SECCOMP_RET_ERRNO | EPERM); }

    bool install() {
        const sock_fprog program = {static_cast<unsigned short>(program_.size()), program_.data()};
        return ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
    }

private:
    void load(unsigned offset) { program_.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offset)); }
    void skipUnlessEqual(unsigned value, std::uint8_t count) {
        program_.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, value, 0, count));
    }
    void skip(unsigned count) { program_.push_back(BPF_STMT(BPF_JMP | BPF_JA, count)); }
    void finish(unsigned verdict) { program_.push_back(BPF_STMT(BPF_RET | BPF_K, verdict)); }

    std::vector<sock_filter> program_;
};

bool restrictCalls() {
#if defined(__x86_64__) || defined(__aarch64__)
    constexpr unsigned notReading = O_ACCMODE | O_CREAT | O_TRUNC | O_APPEND | O_TMPFILE;
    constexpr unsigned folder = O_DIRECTORY; // a bit of O_TMPFILE
    CallFilter filter;
    for (const long call : allowed)
        filter.allow(call);
    for (const Condition& condition : {
             Condition{SYS_openat, 2, notReading, {O_RDONLY, folder}},
#ifdef SYS_open
             Condition{SYS_open, 1, notReading, {O_RDONLY, folder}},
#endif
             Condition{SYS_mmap, 2, PROT_EXEC, {0}},
             Condition{SYS_mprotect, 2, PROT_EXEC, {0}},
             // No command that makes the kernel send signals.
             Condition{SYS_fcntl,
                       1,
                       ~0U,
                       {F_GETFD, F_SETFD, F_GETFL, F_DUPFD, F_DUPFD_CLOEXEC, F_GET_SEALS}},
             // Its own limits, which it cannot raise, and nobody else's.
             Condition{SYS_prlimit64, 0, ~0U, {0}},
         })
        filter.allow(condition);
    filter.refuse();
    return filter.install();
#else
    return false; // numbers and names of the calls are the processor's
#endif
}

} // namespace

Locks lockIn(pid_t parent, int lastDescriptor, std::uint64_t memory) {
    dieWith(parent);
    ::syscall(SYS_close_range, static_cast<unsigned>(lastDescriptor) + 1, ~0U, 0U);
    volunteer();
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    ::prctl(PR_SET_DUMPABLE, 0);
    limit(RLIMIT_CORE, 0);
    constexpr std::uint64_t descriptors = 32;
    limit(RLIMIT_NOFILE, descriptors);
    if (memory != unlimitedMemory)
        limit(RLIMIT_AS, memory);
    Locks locks;
    locks.paths = restrictPaths();
    locks.calls = restrictCalls();
    return locks;
}

} // namespace Bleedwise::Sandbox
