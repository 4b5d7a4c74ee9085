#include "PrintPrep/platform/ChildProcess.h"

#include "PrintPrep/platform/FileDescriptor.h"
#include "PrintPrep/platform/FileSystemError.h"
#include "PrintPrep/platform/OperationStopped.h"
#include "support/Lifeline.h"
#include "support/ScopedVariable.h"
#include "support/TemporaryFolder.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <future>
#include <stop_token>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

using ChildProcess::Outcome;
using std::filesystem::path;
using Testing::Lifeline;
using Testing::ScopedVariable;
using Testing::TemporaryFolder;

Outcome shell(const std::string& script,
              const std::vector<ChildProcess::EnvironmentVariable>& changes = {}) {
    return ChildProcess::run("/bin/sh", {"-c", script}, changes);
}

/// The `errno` value with which a start must fail.
int startFailure(const path& executable, const std::vector<std::string>& arguments = {}) {
    try {
        ChildProcess::run(executable, arguments, {});
    } catch (const FileSystemError& error) {
        return error.code();
    }
    ADD_FAILURE() << executable << " was started";
    return 0;
}

/// Whether this process has a child, running or ended, that nobody has waited for.
bool hasUnreapedChild() {
    return ::waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD;
}

std::vector<int> openDescriptors() {
    std::vector<int> descriptors;
    DIR* folder = ::opendir("/proc/self/fd");
    while (const dirent* entry = ::readdir(folder)) {
        if (entry->d_name[0] != '.' && std::stoi(entry->d_name) != ::dirfd(folder))
            descriptors.push_back(std::stoi(entry->d_name));
    }
    ::closedir(folder);
    return descriptors;
}

struct Pipe {
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

Pipe makePipe() {
    std::array<int, 2> ends = {};
    EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

/// Puts another descriptor in the place of standard input for the length of a scope.
class ScopedStandardInput {
public:
    explicit ScopedStandardInput(int descriptor)
        : saved_(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3)) {
        ::dup2(descriptor, STDIN_FILENO);
    }
    ScopedStandardInput(const ScopedStandardInput&) = delete;
    ScopedStandardInput& operator=(const ScopedStandardInput&) = delete;
    ~ScopedStandardInput() { ::dup2(saved_.get(), STDIN_FILENO); }

private:
    FileDescriptor saved_;
};

TEST(ChildProcess, GivesTheExitStatus) {
    for (const int status : {0, 1, 7, 255})
        EXPECT_EQ(shell("exit " + std::to_string(status)).exitStatus, status);
}

TEST(ChildProcess, GivesTheNumberOfTheSignalThatEndedTheProgramPlus128) {
    EXPECT_EQ(shell("kill -KILL $$").exitStatus, 128 + SIGKILL);
    EXPECT_EQ(shell("kill -TERM $$").exitStatus, 128 + SIGTERM);
}

TEST(ChildProcess, GivesTheTextBeforeASignal) {
    EXPECT_EQ(shell("echo said; kill -KILL $$").consoleText, "said\n");
}

TEST(ChildProcess, GivesBothStreamsInTheOrderOfWriting) {
    EXPECT_EQ(shell("echo 1; echo 2 >&2; echo 3; echo 4 >&2").consoleText, "1\n2\n3\n4\n");
}

TEST(ChildProcess, GivesEveryByteAsItIs) {
    EXPECT_EQ(shell("printf 'a\\000b\\377\\r\\n'").consoleText, std::string("a\0b\xff\r\n", 6));
}

TEST(ChildProcess, GivesAnEmptyTextForASilentProgram) {
    EXPECT_EQ(shell("exit 0").consoleText, "");
}

TEST(ChildProcess, EmptiesThePipeOfAProgramThatWritesTenMegabytes) {
    EXPECT_TRUE(shell("head -c 10485760 /dev/zero | tr '\\0' x").consoleText ==
                std::string(10U << 20U, 'x'));
}

TEST(ChildProcess, WaitsForAProgramThatClosesItsStreamsEarly) {
    const TemporaryFolder folder;
    const Outcome outcome =
        shell("echo said; exec >&- 2>&-; : > '" + (folder / "done").native() + "'; exit 3");
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_EQ(outcome.consoleText, "said\n");
    EXPECT_TRUE(std::filesystem::exists(folder / "done"));
}

TEST(ChildProcess, PassesArgumentsThroughNoShell) {
    const TemporaryFolder folder;
    const path program = folder.program("list", "#!/bin/sh\nprintf '<%s>' \"$@\"\n");
    EXPECT_EQ(ChildProcess::run(program, {"a b", "", "\"'$HOME`id`\\", "*", "-n", "\n", "\xff"}, {})
                  .consoleText,
              "<a b><><\"'$HOME`id`\\><*><-n><\n><\xff>");
}

TEST(ChildProcess, PassesTheProgramsOwnPathAsArgumentZero) {
    EXPECT_EQ(ChildProcess::run("/bin/sh", {"-c", "echo \"$0\""}, {}).consoleText, "/bin/sh\n");
}

TEST(ChildProcess, PassesLongArguments) {
    const std::string longest(100'000, 'x'); // Linux takes 128 KiB for one argument
    EXPECT_EQ(ChildProcess::run("/bin/sh", {"-c", "echo ${#1}", "sh", longest}, {}).consoleText,
              "100000\n");
}

TEST(ChildProcess, PassesManyArguments) {
    std::vector<std::string> arguments = {"-c", "echo $#", "sh"};
    arguments.resize(arguments.size() + 10'000, "argument");
    EXPECT_EQ(ChildProcess::run("/bin/sh", arguments, {}).consoleText, "10000\n");
}

TEST(ChildProcess, RefusesAnArgumentThatIsTooLongForTheSystem) {
    EXPECT_EQ(startFailure("/bin/sh", {"-c", ":", std::string(1U << 20U, 'x')}), E2BIG);
}

TEST(ChildProcess, InheritsTheEnvironment) {
    const ScopedVariable variable("BLEEDWISE_TEST", "a b");
    EXPECT_EQ(shell("echo \"$BLEEDWISE_TEST\"").consoleText, "a b\n");
}

TEST(ChildProcess, ReplacesAVariable) {
    const ScopedVariable variable("BLEEDWISE_TEST", "old");
    EXPECT_EQ(shell("env | grep '^BLEEDWISE_TEST='", {{"BLEEDWISE_TEST", "new"}}).consoleText,
              "BLEEDWISE_TEST=new\n");
}

TEST(ChildProcess, AddsAVariable) {
    const ScopedVariable variable("BLEEDWISE_TEST", std::nullopt);
    EXPECT_EQ(shell("echo \"$BLEEDWISE_TEST\"", {{"BLEEDWISE_TEST", "new"}}).consoleText, "new\n");
}

TEST(ChildProcess, KeepsAVariableWhoseNameOnlyBeginsTheSame) {
    const ScopedVariable variable("BLEEDWISE_TEST_2", "kept");
    EXPECT_EQ(shell("echo \"$BLEEDWISE_TEST_2\"", {{"BLEEDWISE_TEST", "new"}}).consoleText,
              "kept\n");
}

TEST(ChildProcess, LeavesTheEnvironmentOfThisProcessAlone) {
    const ScopedVariable variable("BLEEDWISE_TEST", "old");
    shell(":", {{"BLEEDWISE_TEST", "new"}});
    EXPECT_STREQ(std::getenv("BLEEDWISE_TEST"), "old");
}

TEST(ChildProcess, InheritsTheCurrentFolder) {
    EXPECT_EQ(ChildProcess::run("/bin/pwd", {"-P"}, {}).consoleText,
              std::filesystem::canonical(".").native() + "\n");
}

TEST(ChildProcess, InheritsStandardInput) {
    const Pipe input = makePipe();
    const ScopedStandardInput standardInput(input.readEnd.get());
    ASSERT_EQ(::write(input.writeEnd.get(), "typed\n", 6), 6);
    EXPECT_EQ(shell("read line; echo \"<$line>\"").consoleText, "<typed>\n");
}

TEST(ChildProcess, LeavesTheStandardStreamsOfThisProcessOpen) {
    shell("exec <&- >&- 2>&-");
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        EXPECT_GE(::fcntl(descriptor, F_GETFD), 0) << descriptor;
}

TEST(ChildProcess, LeaksNoDescriptorIntoTheProgram) {
    // Those that this test program itself was given are not what this test is about.
    for (const int descriptor : openDescriptors()) {
        if (descriptor > STDERR_FILENO)
            ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    }
    // The fourth is the one with which the program lists the folder.
    EXPECT_EQ(ChildProcess::run("/bin/ls", {"/proc/self/fd"}, {}).consoleText, "0\n1\n2\n3\n");
}

TEST(ChildProcess, LeavesNoDescriptorOpen) {
    const std::vector<int> before = openDescriptors();
    shell("echo text");
    EXPECT_EQ(openDescriptors(), before);
}

TEST(ChildProcess, LeavesNoDescriptorOpenWhenTheProgramCannotBeStarted) {
    const std::vector<int> before = openDescriptors();
    startFailure("/missing");
    EXPECT_EQ(openDescriptors(), before);
}

TEST(ChildProcess, StartsTheProgramWithoutBlockedSignals) {
    sigset_t blocked;
    sigset_t previous;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &previous);
    EXPECT_EQ(shell("kill -TERM $$; exit 0").exitStatus, 128 + SIGTERM);
    ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
}

TEST(ChildProcess, StartsTheProgramWithTheUsualEffectOfABrokenPipe) {
    const auto previous = std::signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(shell("kill -PIPE $$; exit 0").exitStatus, 128 + SIGPIPE);
    std::signal(SIGPIPE, previous);
}

TEST(ChildProcess, GivesTheExitStatusAlsoWhereTheCallerIgnoresTheEndOfChildren) {
    // Whoever started this program may have left it so; an ignored signal stays ignored.
    const auto previous = std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(shell("exit 7").exitStatus, 7);
    std::signal(SIGCHLD, previous);
}

TEST(ChildProcess, ReapsAProgramThatEnded) {
    shell("exit 3");
    EXPECT_FALSE(hasUnreapedChild());
}

TEST(ChildProcess, ReapsAProgramThatASignalEnded) {
    shell("kill -KILL $$");
    EXPECT_FALSE(hasUnreapedChild());
}

TEST(ChildProcess, ReapsTheChildWhenTheProgramCannotBeStarted) {
    startFailure("/missing");
    EXPECT_FALSE(hasUnreapedChild());
}

TEST(ChildProcess, DoesNotReapOtherChildren) {
    const pid_t other = ::fork();
    if (other == 0)
        ::_exit(5);
    shell("exit 0");
    int status = 0;
    ASSERT_EQ(::waitpid(other, &status, 0), other);
    EXPECT_EQ(WEXITSTATUS(status), 5);
}

TEST(ChildProcess, FailsWhenTheProgramIsMissing) {
    EXPECT_EQ(startFailure("/missing"), ENOENT);
}

TEST(ChildProcess, FailsWhenAFolderOfThePathIsAFile) {
    EXPECT_EQ(startFailure("/bin/sh/gs"), ENOTDIR);
}

TEST(ChildProcess, FailsWhenTheProgramIsNotExecutable) {
    const TemporaryFolder folder;
    EXPECT_EQ(startFailure(folder.file("program", "#!/bin/sh\n")), EACCES);
}

TEST(ChildProcess, FailsWhenTheProgramIsAFolder) {
    const TemporaryFolder folder;
    EXPECT_EQ(startFailure(folder.path()), EACCES);
}

TEST(ChildProcess, FailsWhenTheInterpreterIsMissing) {
    const TemporaryFolder folder;
    EXPECT_EQ(startFailure(folder.program("program", "#!/missing/interpreter\n")), ENOENT);
}

TEST(ChildProcess, FailsWhenTheFileIsNoProgram) {
    const TemporaryFolder folder;
    EXPECT_EQ(startFailure(folder.program("program", "neither script nor binary")), ENOEXEC);
}

TEST(ChildProcess, SearchesNoPathForTheProgram) {
    EXPECT_EQ(startFailure("sh"), ENOENT);
}

TEST(ChildProcess, TellsWhichProgramCouldNotBeStarted) {
    try {
        ChildProcess::run("/missing/gs", {}, {});
        FAIL() << "started";
    } catch (const FileSystemError& error) {
        EXPECT_EQ(error.errorDescription(),
                  "Could not start \"/missing/gs\": No such file or directory");
    }
}

TEST(ChildProcess, ReturnsWhileADescendantStillHoldsThePipe) {
    const TemporaryFolder folder;
    const path gate = folder / "gate";
    ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
    const Outcome outcome = shell("cat '" + gate.native() + "' & echo said; exit 4");
    // Only now is the descendant let go: had the call waited for it, this line were never reached.
    const FileDescriptor opened(::open(gate.c_str(), O_WRONLY | O_CLOEXEC));
    EXPECT_EQ(outcome.exitStatus, 4);
    EXPECT_EQ(outcome.consoleText, "said\n");
}

TEST(ChildProcess, RunsOnSeveralThreadsAtOnce) {
    std::vector<std::future<Outcome>> outcomes;
    for (int index = 0; index < 8; ++index)
        outcomes.push_back(std::async(std::launch::async, [index] {
            return shell("echo " + std::to_string(index) + "; exit " + std::to_string(index));
        }));
    for (int index = 0; index < 8; ++index) {
        const Outcome outcome = outcomes[static_cast<std::size_t>(index)].get();
        EXPECT_EQ(outcome.exitStatus, index);
        EXPECT_EQ(outcome.consoleText, std::to_string(index) + "\n");
    }
}

/// Runs a shell script that can be stopped; true when it was.
bool isStopped(const std::string& script, const std::stop_token& stop) {
    try {
        ChildProcess::run("/bin/sh", {"-c", script}, {}, stop);
    } catch (const OperationStopped&) {
        return true;
    }
    return false;
}

TEST(ChildProcess, KillsTheProgramAndWhatItStartedOnAStopRequest) {
    const Lifeline lifeline;
    std::stop_source stop;
    auto stopped = std::async(std::launch::async,
                              [&] { return isStopped(lifeline.script(), stop.get_token()); });
    ASSERT_TRUE(lifeline.awaitStart());
    stop.request_stop();
    EXPECT_TRUE(stopped.get());
    EXPECT_TRUE(lifeline.awaitEnd());
    EXPECT_FALSE(hasUnreapedChild());
}

TEST(ChildProcess, StartsNothingAfterAStopRequest) {
    const TemporaryFolder folder;
    std::stop_source stop;
    stop.request_stop();
    EXPECT_TRUE(isStopped(": > '" + (folder / "started").native() + "'", stop.get_token()));
    EXPECT_FALSE(std::filesystem::exists(folder / "started"));
}

TEST(ChildProcess, IgnoresAStopRequestThatComesAfterTheEnd) {
    std::stop_source stop;
    EXPECT_FALSE(isStopped("exit 0", stop.get_token()));
    EXPECT_TRUE(stop.request_stop());
}

TEST(ChildProcess, LeavesNoDescriptorOpenAfterAProgramThatCouldBeStopped) {
    const std::vector<int> before = openDescriptors();
    isStopped("exit 0", std::stop_source().get_token());
    EXPECT_EQ(openDescriptors(), before);
}

TEST(ChildProcess, StaysInTheGroupOfTheTerminalUnlessItCanBeStopped) {
    EXPECT_EQ(shell("ps -o pgid= -p $$ | tr -d ' '").consoleText,
              std::to_string(::getpgrp()) + "\n");
}

/// In a process of its own: runs a program that says so on `signOfLife` and then waits for input
/// that never comes, so that it would live on for as long as it is let.
[[noreturn]] void runProgramThatWaits(int input, int signOfLife) {
    constexpr int inScript = 9; // the shell can name only one digit
    ::dup2(input, STDIN_FILENO);
    ::dup2(signOfLife, inScript);
    if (signOfLife != inScript)
        ::close(signOfLife);
    shell("echo started >&9; read line");
    ::_exit(1);
}

TEST(ChildProcess, KillsTheProgramWhenTheCallerIsKilled) {
    Pipe input = makePipe();
    Pipe life = makePipe();
    const pid_t caller = ::fork();
    if (caller == 0)
        runProgramThatWaits(input.readEnd.get(), life.writeEnd.get());
    life.writeEnd.close();
    std::array<char, 8> started = {};
    ASSERT_EQ(::read(life.readEnd.get(), started.data(), started.size()), 8);

    ::kill(caller, SIGKILL);
    ::waitpid(caller, nullptr, 0);

    // The pipe ends when nobody is left who could write to it. The limit only ends a failing test.
    constexpr int limitInMilliseconds = 60'000;
    pollfd end = {life.readEnd.get(), POLLIN, 0};
    EXPECT_EQ(::poll(&end, 1, limitInMilliseconds), 1) << "the program lives on";
    input.writeEnd.close(); // ends it in that case
}

} // namespace
} // namespace Bleedwise
