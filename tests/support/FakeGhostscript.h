#pragma once

#include "support/TemporaryFolder.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace Bleedwise::Testing {

/// A shell script in the place of Ghostscript. It notes its arguments and its `GS_OPTIONS`, copies
/// a PDF to the argument behind `-o`, and then does what the test says.
class FakeGhostscript {
public:
    /// `script` is the shell text that follows; without one the program ends silently with 0.
    explicit FakeGhostscript(std::string_view script = "");
    /// `result` is what it copies instead of `smallPDF()`.
    FakeGhostscript(std::string_view script, std::string_view result);

    const std::filesystem::path& url() const { return url_; }

    bool wasStarted() const;
    std::vector<std::string> arguments() const;
    std::string options() const;
    /// The file that was written last: the argument behind `-o`.
    std::filesystem::path outputURL() const;

private:
    TemporaryFolder folder_;
    std::filesystem::path url_;
};

} // namespace Bleedwise::Testing
