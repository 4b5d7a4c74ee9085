#include "support/Command.h"

#include "support/TemporaryFolder.h"

#include <cerrno>
#include <cstdlib>
#include <stdexcept>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Bleedwise::Testing {
namespace {

void redirect(int descriptor, const std::filesystem::path& file) {
    const int opened = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    ::dup2(opened, descriptor);
}

} // namespace

CommandResult run(const std::vector<std::string>& command, const CommandOptions& options) {
    const TemporaryFolder captured;
    std::vector<std::string> texts = command;
    std::vector<char*> arguments;
    for (std::string& text : texts)
        arguments.push_back(text.data());
    arguments.push_back(nullptr);

    const pid_t process = ::fork();
    if (process < 0)
        throw std::runtime_error("could not start " + command.front());
    if (process == 0) {
        redirect(STDOUT_FILENO, captured / "output");
        redirect(STDERR_FILENO, captured / "error");
        for (const auto& [name, value] : options.environment) {
            if (value.empty())
                ::unsetenv(name.c_str());
            else
                ::setenv(name.c_str(), value.c_str(), 1);
        }
        if (!options.folder.empty() && ::chdir(options.folder.c_str()) != 0)
            ::_exit(126);
        ::execvp(arguments.front(), arguments.data());
        ::_exit(127);
    }
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return {WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status),
            contents(captured / "output"), contents(captured / "error")};
}

CommandResult runBleedwise(const std::vector<std::string>& arguments,
                           const CommandOptions& options) {
    std::vector<std::string> command = {BLEEDWISE_EXECUTABLE};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return run(command, options);
}

std::string outputOf(const std::vector<std::string>& command) {
    const CommandResult result = run(command);
    EXPECT_EQ(result.status, 0) << command.front() << ": " << result.error;
    return result.output;
}

} // namespace Bleedwise::Testing
