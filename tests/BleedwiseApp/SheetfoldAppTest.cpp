#include "BleedwiseApp/SheetfoldApp.h"

#include "support/Command.h"
#include "support/SmallPDF.h"
#include "support/TemporaryFolder.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

using std::filesystem::path;
using Testing::CommandOptions;
using Testing::CommandResult;
using Testing::contents;
using Testing::runBleedwise;
using Testing::TemporaryFolder;

class Start : public testing::Test {
protected:
    std::string settings() const { return contents(folder / "app.bleedwise.Bleedwise.conf"); }

    const TemporaryFolder folder;
};

// A conversion from the command line.

class Conversion : public Start {
protected:
    CommandResult convert(const std::vector<std::string>& arguments) const {
        return runBleedwise(arguments,
                            {.environment = {{"XDG_CONFIG_HOME", folder.path().native()},
                                             {"LD_DEBUG", "files"},
                                             {"LD_DEBUG_OUTPUT", (logs / "log").native()}},
                             .folder = {}});
    }

    /// The dynamic linker's account of all that was loaded.
    std::string loadedLibraries() const {
        std::string text;
        for (const auto& log : std::filesystem::directory_iterator(logs.path()))
            text += contents(log.path());
        return text;
    }

    void expectNothingOfTheDesktop() const {
        const std::string libraries = loadedLibraries();
        ASSERT_NE(libraries.find("liblcms2.so"), std::string::npos);
        for (const char* name : {"libQt", "bleedwise-desktop", "libX11", "libxcb", "libwayland"})
            EXPECT_EQ(libraries.find(name), std::string::npos) << name;
    }

    const TemporaryFolder logs;
    const path input = folder.file("a.pdf", Testing::smallPDF());
};

TEST_F(Conversion, MigratesTheSettingsFirst) {
    folder.file("local.kestrel.Bleedwise.conf", "[General]\nbleedMM=5\n");
    const path output = folder / "out.pdf";
    EXPECT_EQ(convert({"--convert", input.native(), "--width", "20", "--height", "20",
                       "--no-ghostscript", "--output", output.native()})
                  .status,
              0);
    EXPECT_TRUE(std::filesystem::exists(output));
    EXPECT_EQ(settings(), "[General]\nbleedMM=5\ndidMigrateReleaseBundleSettings=true\n");
}

TEST_F(Conversion, MigratesTheSettingsBeforeAnArgumentError) {
    EXPECT_EQ(convert({"--convert"}).status, 1);
    EXPECT_EQ(settings(), "[General]\ndidMigrateReleaseBundleSettings=true\n");
}

TEST_F(Conversion, LoadsNothingOfTheDesktop) {
    ASSERT_EQ(convert({"--convert", input.native(), "--width", "20", "--height", "20",
                       "--no-ghostscript"})
                  .status,
              0);
    expectNothingOfTheDesktop();
}

TEST_F(Conversion, LoadsNothingOfTheDesktopForAnArgumentError) {
    convert({"--convert"});
    expectNothingOfTheDesktop();
}

TEST_F(Conversion, WorksWithSettingsThatCannotBeWritten) {
    std::filesystem::create_directory(folder / "app.bleedwise.Bleedwise.conf");
    EXPECT_EQ(convert({"--convert", input.native(), "--width", "20", "--height", "20",
                       "--no-ghostscript"})
                  .status,
              0);
}

// The window.

/// The program with its window, which nobody sees.
class RunningProgram {
public:
    RunningProgram(std::vector<std::string> arguments, const path& configuration,
                   std::optional<int> ignoredSignal = std::nullopt) {
        arguments.insert(arguments.begin(), BLEEDWISE_EXECUTABLE);
        std::vector<char*> texts;
        for (std::string& argument : arguments)
            texts.push_back(argument.data());
        texts.push_back(nullptr);
        process_ = ::fork();
        if (process_ < 0)
            throw std::runtime_error("could not start the program");
        if (process_ == 0) {
            ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
            ::setenv("XDG_CONFIG_HOME", configuration.c_str(), 1);
            if (ignoredSignal)
                ::signal(*ignoredSignal, SIG_IGN);
            ::execv(texts.front(), texts.data());
            ::_exit(127);
        }
    }
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;
    ~RunningProgram() {
        if (process_ > 0) {
            ::kill(process_, SIGKILL);
            ::waitpid(process_, nullptr, 0);
        }
    }

    /// Waits until the program has a handler for the signal, which is when its window is about to
    /// be shown. False when it ended before.
    bool waitForHandler(int signal) const {
        while (isRunning()) {
            if (has("SigCgt:", signal))
                return true;
            ::sched_yield();
        }
        return false;
    }

    bool ignores(int signal) const { return has("SigIgn:", signal); }

    void send(int signal) const { ::kill(process_, signal); }

    /// How it ended, as `waitpid` says.
    int end() {
        int status = -1;
        ::waitpid(process_, &status, 0);
        process_ = -1;
        return status;
    }

private:
    bool isRunning() const {
        siginfo_t ended = {};
        return ::waitid(P_PID, static_cast<id_t>(process_), &ended, WEXITED | WNOHANG | WNOWAIT) ==
                   0 &&
               ended.si_pid == 0;
    }

    /// Whether a set of signals in the process's status has this one.
    bool has(const std::string& set, int signal) const {
        std::ifstream status("/proc/" + std::to_string(process_) + "/status");
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with(set)) {
                const unsigned long long bits = std::stoull(line.substr(set.size()), nullptr, 16);
                return ((bits >> static_cast<unsigned>(signal - 1)) & 1U) != 0;
            }
        }
        return false;
    }

    pid_t process_ = -1;
};

class Window : public Start {};

TEST_F(Window, IsOpenedForArgumentsThatAreNotKnown) {
    RunningProgram program({"--help", "file.pdf"}, folder.path());
    EXPECT_TRUE(program.waitForHandler(SIGTERM));
}

TEST_F(Window, MigratesTheSettingsFirst) {
    const RunningProgram program({}, folder.path());
    ASSERT_TRUE(program.waitForHandler(SIGTERM));
    EXPECT_EQ(settings(), "[General]\ndidMigrateReleaseBundleSettings=true\n");
}

class EndingSignal : public Window, public testing::WithParamInterface<int> {};

TEST_P(EndingSignal, ClosesTheWindowCleanly) {
    RunningProgram program({}, folder.path());
    ASSERT_TRUE(program.waitForHandler(GetParam()));
    program.send(GetParam());
    const int status = program.end();
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

INSTANTIATE_TEST_SUITE_P(All, EndingSignal, testing::Values(SIGTERM, SIGINT, SIGHUP));

TEST_F(Window, LeavesASignalIgnored) {
    const RunningProgram program({}, folder.path(), SIGHUP);
    ASSERT_TRUE(program.waitForHandler(SIGINT));
    EXPECT_TRUE(program.ignores(SIGHUP));
}

struct DisplayCase {
    std::string name;
    std::vector<std::pair<std::string, std::string>> environment;
    std::string reason;
};
std::ostream& operator<<(std::ostream& stream, const DisplayCase& example) {
    return stream << example.name;
}

class MissingDisplay : public Window, public testing::WithParamInterface<DisplayCase> {};

TEST_P(MissingDisplay, IsToldInOneLine) {
    CommandOptions options = {.environment = {{"QT_QPA_PLATFORM", ""},
                                              {"DISPLAY", ""},
                                              {"WAYLAND_DISPLAY", ""},
                                              {"XDG_CONFIG_HOME", folder.path().native()}},
                              .folder = {}};
    const auto& more = GetParam().environment;
    options.environment.insert(options.environment.end(), more.begin(), more.end());
    const CommandResult result = runBleedwise({}, options);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.error, "ERROR: The window cannot be opened: " + GetParam().reason + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    All, MissingDisplay,
    testing::Values(
        DisplayCase{"None", {}, "could not connect to display"},
        DisplayCase{"OfNoServer", {{"DISPLAY", ":61999"}}, "could not connect to display :61999"},
        DisplayCase{"OfAnUnknownKind",
                    {{"QT_QPA_PLATFORM", "nonsense"}},
                    "Could not find the Qt platform plugin \"nonsense\" in \"\""}),
    [](const auto& example) { return example.param.name; });

} // namespace
} // namespace Bleedwise
