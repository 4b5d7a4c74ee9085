// Whatever system call fails, and wherever the process is killed, a file that is being replaced
// keeps its old bytes or has all of its new ones.
//
// This program is linked so that the engine's calls reach the functions `__wrap_…` below, which
// can make one of them fail or be the last that the process makes.

#include "PrintPrep/OutputNamer.h"
#include "PrintPrep/PDFBoxPatcher.h"
#include "PrintPrep/platform/FileSystemError.h"
#include "support/TemporaryFolder.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// What is to happen to the calls that the engine makes, and what did happen.
struct Interference {
    enum class Kind { none, fail, killBefore, killAfter };

    Kind kind = Kind::none;
    /// Which call it concerns, counted from 1.
    std::size_t position = 0;
    /// The `errno` value of the failure.
    int code = 0;
    /// No write takes more bytes than this.
    std::size_t largestWrite = SIZE_MAX;
    /// So many writes are interrupted by a signal before each one that is not.
    int interruptions = 0;
    /// Writes take nothing at all.
    bool writesNothing = false;
    /// The file system cannot let two files change places.
    bool cannotExchange = false;

    /// The calls so far.
    std::vector<std::string_view> calls;
    int interruptionsSoFar = 0;
    /// A file had taken its final name before the failure.
    bool renamedBefore = false;
    bool renamed = false;

    bool reached() const { return calls.size() >= position; }
    std::string_view call() const { return calls.at(position - 1); }
};

/// Null while calls pass as they are.
Interference* interference = nullptr;

template <typename Result, typename Call>
Result intercept(std::string_view name, const Call& call, bool happensAllTheSame = false) {
    if (!interference)
        return call();
    interference->calls.push_back(name);
    const bool concerned = interference->calls.size() == interference->position;
    if (concerned && interference->kind == Interference::Kind::killBefore)
        ::raise(SIGKILL);
    if (concerned && interference->kind == Interference::Kind::fail) {
        interference->renamedBefore = interference->renamed;
        if (happensAllTheSame)
            call();
        errno = interference->code;
        return Result(-1);
    }
    const Result result = call();
    if (name.starts_with("rename") && result == Result(0))
        interference->renamed = true;
    if (concerned && interference->kind == Interference::Kind::killAfter)
        ::raise(SIGKILL);
    return result;
}

} // namespace

// The linker prescribes these names.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
int __real_open(const char* path, int flags, ...);
int __real_stat(const char* path, struct stat* status);
int __real_fstat(int file, struct stat* status);
void* __real_mmap(void* address, size_t size, int protection, int flags, int file, off_t offset);
int __real_munmap(void* address, size_t size);
int __real_madvise(void* address, size_t size, int advice);
ssize_t __real_write(int file, const void* bytes, size_t size);
int __real_fsync(int file);
int __real_fchmod(int file, mode_t mode);
int __real_close(int file);
int __real_rename(const char* from, const char* to);
int __real_renameat2(int fromFolder, const char* from, int toFolder, const char* to,
                     unsigned flags);
int __real_unlink(const char* path);

int __wrap_open(const char* path, int flags, ...) {
    mode_t mode = 0;
    if (flags & O_CREAT) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    return intercept<int>("open", [&] { return __real_open(path, flags, mode); });
}

int __wrap_stat(const char* path, struct stat* status) {
    return intercept<int>("stat", [&] { return __real_stat(path, status); });
}

int __wrap_fstat(int file, struct stat* status) {
    return intercept<int>("fstat", [&] { return __real_fstat(file, status); });
}

void* __wrap_mmap(void* address, size_t size, int protection, int flags, int file, off_t offset) {
    void* mapping = MAP_FAILED;
    intercept<int>("mmap", [&] {
        mapping = __real_mmap(address, size, protection, flags, file, offset);
        return 0;
    });
    return mapping;
}

int __wrap_munmap(void* address, size_t size) {
    return intercept<int>(
        "munmap", [&] { return __real_munmap(address, size); }, true);
}

int __wrap_madvise(void* address, size_t size, int advice) {
    return intercept<int>("madvise", [&] { return __real_madvise(address, size, advice); });
}

ssize_t __wrap_write(int file, const void* bytes, size_t size) {
    if (interference && interference->writesNothing)
        return 0;
    if (interference && interference->interruptionsSoFar < interference->interruptions) {
        ++interference->interruptionsSoFar;
        errno = EINTR;
        return -1;
    }
    if (interference) {
        interference->interruptionsSoFar = 0;
        size = std::min(size, interference->largestWrite);
    }
    return intercept<ssize_t>("write", [&] { return __real_write(file, bytes, size); });
}

int __wrap_fsync(int file) {
    return intercept<int>("fsync", [&] { return __real_fsync(file); });
}

int __wrap_fchmod(int file, mode_t mode) {
    return intercept<int>("fchmod", [&] { return __real_fchmod(file, mode); });
}

int __wrap_close(int file) {
    // Linux gives the descriptor up also when it reports a failure.
    return intercept<int>(
        "close", [&] { return __real_close(file); }, true);
}

int __wrap_rename(const char* from, const char* to) {
    return intercept<int>("rename", [&] { return __real_rename(from, to); });
}

int __wrap_renameat2(int fromFolder, const char* from, int toFolder, const char* to,
                     unsigned flags) {
    if (interference && interference->cannotExchange) {
        errno = EINVAL;
        return -1;
    }
    return intercept<int>("renameat2",
                          [&] { return __real_renameat2(fromFolder, from, toFolder, to, flags); });
}

int __wrap_unlink(const char* path) {
    return intercept<int>("unlink", [&] { return __real_unlink(path); });
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace Bleedwise {
namespace {

using std::filesystem::path;
using Testing::contents;
using Testing::TemporaryFolder;

/// The files of one operation, fresh for each run.
struct Files {
    TemporaryFolder folder;
    path destination = folder / "file.pdf";
    /// Nothing when there is no file at first.
    std::optional<std::string> oldBytes;
    std::string newBytes;

    std::unique_ptr<TemporaryFolder> sourceFolder;
    path source;

    std::function<void()> operate;
    bool cannotExchange = false;

    std::optional<std::string> bytesNow() const {
        return std::filesystem::exists(destination) ? std::optional(contents(destination))
                                                    : std::nullopt;
    }
    bool sourceIsThere() const {
        return source.empty() || (std::filesystem::exists(source) && contents(source) == newBytes);
    }
    /// What lies beside the destination.
    std::vector<std::string> leftovers() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
            if (entry.path() != destination)
                names.push_back(entry.path().filename().native());
        }
        return names;
    }
};

/// A PDF whose update takes several writes.
std::string pagesBytes() {
    const std::string filling(70'000, 'x');
    return "1 0 obj<</Type/Page/X(" + filling + ")>>endobj " + std::string(150'000, ' ') +
           "2 0 obj<</Type/Page>>endobj trailer<</Size 3/Root 1 0 R>>startxref 5\n%%EOF\n";
}

std::unique_ptr<Files> filesToPatch() {
    const PrintSettings settings = {210, 297, 3};
    auto files = std::make_unique<Files>();
    files->oldBytes = pagesBytes();
    files->folder.file("file.pdf", *files->oldBytes);
    static const std::string newBytes = [&] {
        const TemporaryFolder folder;
        const path url = folder.file("copy.pdf", pagesBytes());
        PDFBoxPatcher::applyPrintBoxes(url, settings, true);
        return contents(url);
    }();
    files->newBytes = newBytes;
    files->operate = [settings, url = files->destination] {
        PDFBoxPatcher::applyPrintBoxes(url, settings, true);
    };
    return files;
}

dev_t fileSystemOf(const path& folder) {
    struct stat status = {};
    return ::stat(folder.c_str(), &status) == 0 ? status.st_dev : 0;
}

/// A folder in which one may write and that is not on the file system of the temporary directory.
std::optional<path> folderOnAnotherFileSystem() {
    const path here = std::filesystem::temp_directory_path();
    for (const char* candidate :
         {"/dev/shm", "/tmp", "/var/tmp", "/run", BLEEDWISE_SOURCE_FOLDER}) {
        if (::access(candidate, W_OK) == 0 && fileSystemOf(candidate) != fileSystemOf(here))
            return candidate;
    }
    return std::nullopt;
}

std::unique_ptr<Files> filesToMove(const path& sourceParent, bool destinationExists) {
    auto files = std::make_unique<Files>();
    if (destinationExists) {
        files->oldBytes = "the old file";
        files->folder.file("file.pdf", *files->oldBytes);
    }
    files->newBytes = std::string(150'000, 'n');
    files->sourceFolder = std::make_unique<TemporaryFolder>(sourceParent);
    files->source = files->sourceFolder->file("work.pdf", files->newBytes);
    files->operate = [destination = files->destination, source = files->source] {
        OutputNamer::replaceItem(destination, source);
    };
    return files;
}

struct Operation {
    const char* name;
    std::unique_ptr<Files> (*makeFiles)();
    bool needsAnotherFileSystem;
    /// Calls that it must make, in this order, for the tests to mean anything.
    std::vector<std::string_view> calls;
};

[[maybe_unused]] void PrintTo(const Operation& operation, std::ostream* stream) {
    *stream << operation.name;
}

std::string operationName(const testing::TestParamInfo<Operation>& info) {
    return info.param.name;
}

const std::vector<Operation> operations = {
    {"Patch", filesToPatch, false, {"open", "fstat", "mmap", "open", "fchmod", "write", "write"}},
    {"PatchWithoutExchange",
     [] {
         auto files = filesToPatch();
         files->cannotExchange = true;
         return files;
     },
     false,
     {"open", "fstat", "mmap", "open", "fchmod", "write", "write", "close", "rename"}},
    {"MoveOverAFile",
     [] { return filesToMove(std::filesystem::temp_directory_path(), true); },
     false,
     {"open", "fsync", "close", "rename", "open", "fsync"}},
    {"MoveToAFreeName",
     [] { return filesToMove(std::filesystem::temp_directory_path(), false); },
     false,
     {"open", "fsync", "close", "rename", "open", "fsync"}},
    {"CopyOverAFile",
     [] { return filesToMove(folderOnAnotherFileSystem().value(), true); },
     true,
     {"open", "fsync", "rename", "open", "mmap", "open", "fchmod", "write", "fsync", "close",
      "rename", "open", "fsync", "unlink"}},
    {"CopyToAFreeName",
     [] { return filesToMove(folderOnAnotherFileSystem().value(), false); },
     true,
     {"open", "fsync", "rename", "open", "mmap", "open", "fchmod", "write", "fsync", "close",
      "rename", "open", "fsync", "unlink"}},
};

/// Lets the interference act in a scope.
class Interfering {
public:
    explicit Interfering(Interference& chosen) { interference = &chosen; }
    Interfering(const Interfering&) = delete;
    Interfering& operator=(const Interfering&) = delete;
    ~Interfering() { interference = nullptr; }
};

/// Operates under an interference. Gives the code of the error, 0 when there is none.
int operate(const Files& files, Interference& chosen) {
    chosen.cannotExchange = files.cannotExchange;
    const Interfering scope(chosen);
    try {
        files.operate();
        return 0;
    } catch (const FileSystemError& error) {
        return error.code();
    }
}

class SystemCallFailures : public testing::TestWithParam<Operation> {
protected:
    void SetUp() override {
        if (GetParam().needsAnotherFileSystem && !folderOnAnotherFileSystem())
            GTEST_SKIP() << "There is only one file system here.";
    }

    static std::unique_ptr<Files> makeFiles() { return GetParam().makeFiles(); }

    /// The calls of an undisturbed run.
    static std::vector<std::string_view> calls() {
        Interference none;
        const auto files = makeFiles();
        EXPECT_EQ(operate(*files, none), 0);
        return none.calls;
    }

    /// Makes the call at each position fail with each code in turn, each time on fresh files, and
    /// hands what came of it to `check`.
    static void
    forEachFailure(const std::function<void(const Files&, const Interference&, int error)>& check) {
        for (const int code : {ENOSPC, EIO, EACCES}) {
            for (std::size_t position = 1;; ++position) {
                Interference failure;
                failure.kind = Interference::Kind::fail;
                failure.position = position;
                failure.code = code;
                const auto files = makeFiles();
                const int error = operate(*files, failure);
                if (!failure.reached())
                    break;
                const testing::ScopedTrace trace(__FILE__, __LINE__,
                                                 "call " + std::to_string(position) + ", " +
                                                     std::string(failure.call()) + ", error " +
                                                     std::to_string(code));
                check(*files, failure, error);
            }
        }
    }

    /// Kills a process of its own before or after the call at each position.
    static void forEachKill(Interference::Kind kind,
                            const std::function<void(const Files&)>& check) {
        for (std::size_t position = 1;; ++position) {
            const auto files = makeFiles();
            const pid_t process = ::fork();
            if (process == 0) {
                Interference kill;
                kill.kind = kind;
                kill.position = position;
                ::_exit(operate(*files, kill) == 0 ? 0 : 1);
            }
            int status = 0;
            ASSERT_EQ(::waitpid(process, &status, 0), process);
            const testing::ScopedTrace trace(__FILE__, __LINE__,
                                             "call " + std::to_string(position));
            if (!WIFSIGNALED(status)) {
                ASSERT_EQ(WEXITSTATUS(status), 0);
                ASSERT_GT(position, GetParam().calls.size());
                return;
            }
            ASSERT_EQ(WTERMSIG(status), SIGKILL);
            check(*files);
        }
    }

    static void expectOldOrNewBytes(const Files& files) {
        const auto bytes = files.bytesNow();
        EXPECT_TRUE(bytes == files.oldBytes || bytes == files.newBytes)
            << "the file has " << bytes.value_or("").size() << " bytes";
    }

    static void expectNewBytesUnder(Interference chosen) {
        const auto files = makeFiles();
        EXPECT_EQ(operate(*files, chosen), 0);
        EXPECT_TRUE(files->bytesNow() == files->newBytes);
        EXPECT_EQ(files->leftovers(), std::vector<std::string>());
    }
};

INSTANTIATE_TEST_SUITE_P(Each, SystemCallFailures, testing::ValuesIn(operations), operationName);

TEST_P(SystemCallFailures, AreMadeInAllTheCallsOfTheOperation) {
    const auto made = calls();
    auto next = made.begin();
    for (const std::string_view expected : GetParam().calls) {
        next = std::find(next, made.end(), expected);
        ASSERT_NE(next, made.end()) << "no call of " << expected;
        ++next;
    }
}

TEST_P(SystemCallFailures, LeaveTheOldOrTheNewBytes) {
    forEachFailure(
        [](const Files& files, const Interference&, int) { expectOldOrNewBytes(files); });
}

TEST_P(SystemCallFailures, LeaveTheOldBytesWhenReported) {
    forEachFailure([](const Files& files, const Interference&, int error) {
        if (error != 0) {
            EXPECT_TRUE(files.bytesNow() == files.oldBytes);
        }
    });
}

TEST_P(SystemCallFailures, LeaveTheSourceWhenReported) {
    forEachFailure([](const Files& files, const Interference&, int error) {
        if (error != 0) {
            EXPECT_TRUE(files.sourceIsThere());
        }
    });
}

TEST_P(SystemCallFailures, LeaveTheNewBytesWhenNotReported) {
    forEachFailure([](const Files& files, const Interference&, int error) {
        if (error == 0) {
            EXPECT_TRUE(files.bytesNow() == files.newBytes);
        }
    });
}

TEST_P(SystemCallFailures, AreReportedUnlessHarmless) {
    forEachFailure([](const Files&, const Interference& failure, int error) {
        const std::vector<std::string_view> harmless = {"stat",   "close",     "madvise",
                                                        "munmap", "renameat2", "unlink"};
        if (!failure.renamedBefore &&
            std::find(harmless.begin(), harmless.end(), failure.call()) == harmless.end()) {
            EXPECT_EQ(error, failure.code);
        }
    });
}

TEST_P(SystemCallFailures, AreReportedWithTheirOwnReason) {
    forEachFailure([](const Files&, const Interference& failure, int error) {
        EXPECT_TRUE(error == 0 || error == failure.code) << error;
    });
}

TEST_P(SystemCallFailures, LeaveNoPassingFile) {
    forEachFailure([](const Files& files, const Interference& failure, int) {
        if (failure.call() != "unlink") {
            EXPECT_EQ(files.leftovers(), std::vector<std::string>());
        }
    });
}

TEST_P(SystemCallFailures, LeaveTheOldOrTheNewBytesWhenKilledBeforeACall) {
    forEachKill(Interference::Kind::killBefore, expectOldOrNewBytes);
}

TEST_P(SystemCallFailures, LeaveTheOldOrTheNewBytesWhenKilledAfterACall) {
    forEachKill(Interference::Kind::killAfter, expectOldOrNewBytes);
}

TEST_P(SystemCallFailures, LeaveTheBytesInOneOfTheFilesWhenKilled) {
    for (const auto kind : {Interference::Kind::killBefore, Interference::Kind::killAfter}) {
        forEachKill(kind, [](const Files& files) {
            EXPECT_TRUE(files.sourceIsThere() || files.bytesNow() == files.newBytes);
        });
    }
}

TEST_P(SystemCallFailures, LeaveOnlyAPassingFileWhenKilled) {
    for (const auto kind : {Interference::Kind::killBefore, Interference::Kind::killAfter}) {
        forEachKill(kind, [](const Files& files) {
            for (const std::string& name : files.leftovers())
                EXPECT_TRUE(name.starts_with(".bleedwise-") && name.ends_with(".part")) << name;
            EXPECT_LE(files.leftovers().size(), 1);
        });
    }
}

TEST_P(SystemCallFailures, CanBeMadeGoodByAnotherRunAfterAKill) {
    for (const auto kind : {Interference::Kind::killBefore, Interference::Kind::killAfter}) {
        forEachKill(kind, [](const Files& files) {
            if (files.bytesNow() == files.newBytes)
                return;
            files.operate();
            EXPECT_TRUE(files.bytesNow() == files.newBytes);
        });
    }
}

TEST_P(SystemCallFailures, DoNotIncludeShortWrites) {
    for (const std::size_t size : {1U, 7U, 4096U, 65'535U}) {
        Interference brevity;
        brevity.largestWrite = size;
        expectNewBytesUnder(brevity);
    }
}

TEST_P(SystemCallFailures, DoNotIncludeInterruptedWrites) {
    Interference signals;
    signals.interruptions = 3;
    expectNewBytesUnder(signals);
}

TEST_P(SystemCallFailures, DoNotIncludeMissingPermissionBitsOfTheFileSystem) {
    const auto made = calls();
    const auto change = std::find(made.begin(), made.end(), "fchmod");
    if (change == made.end())
        return; // a mere rename
    for (const int code : {EPERM, ENOTSUP}) {
        Interference refusal;
        refusal.kind = Interference::Kind::fail;
        refusal.position = static_cast<std::size_t>(change - made.begin()) + 1;
        refusal.code = code;
        expectNewBytesUnder(refusal);
    }
}

TEST_P(SystemCallFailures, DoNotIncludeAFolderThatCannotBeFlushed) {
    const auto made = calls();
    const auto last = std::find(made.rbegin(), made.rend(), "fsync");
    if (last == made.rend())
        return; // what is worthless after a restart is not flushed
    Interference refusal;
    refusal.kind = Interference::Kind::fail;
    refusal.position = static_cast<std::size_t>(made.rend() - last);
    refusal.code = EINVAL;
    expectNewBytesUnder(refusal);
}

TEST_P(SystemCallFailures, IncludeWritesThatTakeNothing) {
    const auto made = calls();
    if (std::find(made.begin(), made.end(), "write") == made.end())
        return; // a mere rename
    Interference refusal;
    refusal.writesNothing = true;
    const auto files = makeFiles();
    EXPECT_EQ(operate(*files, refusal), EIO);
    EXPECT_TRUE(files->bytesNow() == files->oldBytes);
    EXPECT_TRUE(files->sourceIsThere());
    EXPECT_EQ(files->leftovers(), std::vector<std::string>());
}

TEST_P(SystemCallFailures, IncludeTheCloseOfTheWrittenFile) {
    // Network file systems report a full disk only there.
    const auto made = calls();
    const auto lastWrite = std::find(made.rbegin(), made.rend(), "write").base();
    const auto close = std::find(lastWrite, made.end(), "close");
    if (lastWrite == made.begin())
        return; // a mere rename
    ASSERT_NE(close, made.end());
    Interference failure;
    failure.kind = Interference::Kind::fail;
    failure.position = static_cast<std::size_t>(close - made.begin()) + 1;
    failure.code = EDQUOT;
    const auto files = makeFiles();
    EXPECT_EQ(operate(*files, failure), EDQUOT);
    EXPECT_TRUE(files->bytesNow() == files->oldBytes);
}

TEST_P(SystemCallFailures, LeakNoDescriptor) {
    const auto openDescriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto before = openDescriptors();
    forEachFailure(
        [](const Files& files, const Interference&, int) { expectOldOrNewBytes(files); });
    EXPECT_EQ(openDescriptors(), before);
}

} // namespace
} // namespace Bleedwise
