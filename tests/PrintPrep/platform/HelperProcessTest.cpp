#include "PrintPrep/platform/HelperProcess.h"

#include "PrintPrep/platform/FileSystemError.h"
#include "support/OpenDescriptors.h"
#include "support/TemporaryFolder.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

using Testing::TemporaryFolder;

class Helper : public testing::Test {
protected:
    /// One message from a shell script.
    std::string said(const std::string& script, std::vector<std::string> environment = {}) {
        const HelperProcess helper(folder.program("helper", "#!/bin/sh\n" + script),
                                   std::move(environment));
        std::array<char, 4096> bytes = {};
        const ssize_t count = ::read(helper.socket(), bytes.data(), bytes.size());
        return {bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(0, count))};
    }

    const TemporaryFolder folder;
};

TEST_F(Helper, SpeaksOverItsSocket) {
    EXPECT_EQ(said("printf hello >&3"), "hello");
}

TEST_F(Helper, KnowsItsParent) {
    EXPECT_EQ(said("printf \"$1\" >&3"), std::to_string(::getpid()));
}

TEST_F(Helper, HasStreamsThatLeadNowhere) {
    EXPECT_EQ(said("printf \"$(for n in 0 1 2; do readlink /proc/$$/fd/$n; done)\" >&3"),
              "/dev/null\n/dev/null\n/dev/null");
}

TEST_F(Helper, HasTheEnvironmentThatItIsGiven) {
    EXPECT_EQ(said("printf \"$(tr '\\0' '\\n' </proc/$$/environ)\" >&3",
                   {"LC_ALL=C", "PATH=/usr/bin:/bin"}),
              "LC_ALL=C\nPATH=/usr/bin:/bin");
}

TEST_F(Helper, HasAProcessGroupOfItsOwn) {
    EXPECT_EQ(
        said("set -- $(cat /proc/$$/stat); [ $5 = $$ ] && printf own >&3", {"PATH=/usr/bin:/bin"}),
        "own");
}

TEST_F(Helper, HeedsSignalsThatAreIgnoredHere) {
    const auto previous = std::signal(SIGTERM, SIG_IGN);
    EXPECT_EQ(said("kill -TERM $$; printf alive >&3"), "");
    std::signal(SIGTERM, previous);
}

TEST_F(Helper, IsGoneWhenItsObjectIs) {
    const auto script = folder.program("helper", "#!/bin/sh\nread line <&3");
    std::optional<HelperProcess> helper(std::in_place, script, std::vector<std::string>());
    const pid_t process = helper->number();
    helper.reset();
    EXPECT_EQ(::kill(process, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

TEST_F(Helper, LeavesNoDescriptorBehind) {
    const std::size_t before = Testing::openDescriptors();
    said("printf hello >&3");
    EXPECT_EQ(Testing::openDescriptors(), before);
}

TEST_F(Helper, ThatIsMissingIsAnErrorThatNamesIt) {
    const auto missing = folder / "missing";
    try {
        const HelperProcess helper(missing, {});
        FAIL();
    } catch (const FileSystemError& error) {
        EXPECT_EQ(error.errorDescription(),
                  "Could not start \"" + missing.native() + "\": No such file or directory");
    }
}

TEST_F(Helper, ThatIsMissingLeavesNoDescriptorBehind) {
    const std::size_t before = Testing::openDescriptors();
    EXPECT_THROW(HelperProcess(folder / "missing", {}), FileSystemError);
    EXPECT_EQ(Testing::openDescriptors(), before);
}

TEST_F(Helper, StartsWhenTheStandardStreamsAreClosedHere) {
    // The socket's ends then take the streams' numbers.
    EXPECT_EXIT(
        {
            ::close(STDIN_FILENO);
            ::close(STDOUT_FILENO);
            ::_exit(said("printf hello >&3") == "hello" ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace Bleedwise
