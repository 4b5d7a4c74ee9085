#include "PrintPrep/platform/SilencedStreams.h"

#include "support/TemporaryFolder.h"

#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Bleedwise {
namespace {

/// What reaches standard output and standard error, in a process of its own, while `action` runs.
std::string written(const std::function<void()>& action) {
    const Testing::TemporaryFolder folder;
    const auto file = folder.file("streams", "");
    const pid_t process = ::fork();
    if (process == 0) {
        const int opened = ::open(file.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
        ::dup2(opened, STDOUT_FILENO);
        ::dup2(opened, STDERR_FILENO);
        action();
        std::fflush(nullptr);
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(process, &status, 0);
    EXPECT_EQ(status, 0);
    return Testing::contents(file);
}

TEST(SilencedStreams, SwallowWhatIsWrittenMeanwhile) {
    EXPECT_EQ(written([] {
                  const SilencedStreams silenced;
                  std::fputs("a", stdout);
                  std::fputs("b", stderr);
              }),
              "");
}

TEST(SilencedStreams, LetPassWhatIsWrittenBefore) {
    EXPECT_EQ(written([] {
                  std::fputs("a", stdout); // still in the C library's buffer
                  const SilencedStreams silenced;
              }),
              "a");
}

TEST(SilencedStreams, LetPassWhatIsWrittenAfterwards) {
    EXPECT_EQ(written([] {
                  { const SilencedStreams silenced; }
                  std::fputs("a", stdout);
                  std::fputs("b", stderr);
              }),
              "ba");
}

TEST(SilencedStreams, StaySilentUntilTheLastIsGone) {
    EXPECT_EQ(written([] {
                  auto first = std::make_unique<SilencedStreams>();
                  auto second = std::make_unique<SilencedStreams>();
                  first.reset();
                  std::fputs("a", stderr);
                  second.reset();
                  std::fputs("b", stderr);
              }),
              "b");
}

} // namespace
} // namespace Bleedwise
