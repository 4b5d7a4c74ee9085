#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace Bleedwise::Testing {

/// What a finished program said, and how it ended.
struct CommandResult {
    /// Exit status, or 128 plus the number of the signal that ended it.
    int status = -1;
    std::string output;
    std::string error;
};

struct CommandOptions {
    /// Variables to set; an empty value removes the variable.
    std::vector<std::pair<std::string, std::string>> environment;
    /// Folder to start in; the test's own when empty.
    std::filesystem::path folder;
};

/// Runs a program, found along the search path when its name has no slash, and waits for its end.
CommandResult run(const std::vector<std::string>& command, const CommandOptions& options = {});

/// The built program with these arguments.
CommandResult runBleedwise(const std::vector<std::string>& arguments,
                           const CommandOptions& options = {});

/// Standard output of a program that must succeed; anything else fails the test.
std::string outputOf(const std::vector<std::string>& command);

} // namespace Bleedwise::Testing
