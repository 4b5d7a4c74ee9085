#pragma once

#include "PrintPrep/PrintSettings.h"

#include <filesystem>
#include <functional>
#include <future>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

/// Conversion through the user's own Ghostscript, which keeps text and vector artwork.
namespace Bleedwise::Ghostscript {

/// A Ghostscript executable that was found.
struct Installation {
    std::filesystem::path url;
};

/// What a successful run said.
struct Result {
    /// Console lines without empty ones, or one that says that there are none; then what could not
    /// be checked of the result.
    std::vector<std::string> log;
};

/// Looks for the executable in the usual places, which take precedence, and then along `PATH`. Only
/// looks; starts nothing. Any thread.
std::optional<Installation> find();

/// The search itself. `isExecutable` tells whether the current user can execute the file at a path,
/// links followed; `searchPath` is the value of `PATH`.
std::optional<Installation>
find(const std::function<bool(const std::filesystem::path&)>& isExecutable,
     std::string_view searchPath);

/// The arguments of one run, without the executable. The media is trim plus bleed when the source
/// includes its bleed; otherwise it is the trim, and the page is moved by the bleed on both axes.
std::vector<std::string> arguments(const std::filesystem::path& inputURL,
                                   const std::filesystem::path& outputURL,
                                   const std::filesystem::path& profileURL,
                                   const PrintSettings& settings);

/// What reads the input.
enum class Interpreter {
    usual,
    /// The one before Ghostscript's present one, which fits pages right whose media box does not
    /// start at 0 0; that of 10.00 moves and scales them. Versions without it pay no heed, and fit
    /// such pages themselves.
    previous,
};

/// The value of `GS_OPTIONS` for a run: `inherited`, the caller's own value, followed by options
/// that make Ghostscript 10.00 separate through the profile at `profileURL`. That version ignores
/// `-sOutputICCProfile` in `pdfwrite`, without a word, and uses a profile of its own.
///
/// Throws `PrintPrepError::ghostscriptFailed` when `inherited` ends within quotation marks.
std::string options(std::string_view inherited, const std::filesystem::path& profileURL,
                    Interpreter interpreter = Interpreter::usual);

/// Rewrites the PDF at `inputURL` in CMYK to `outputURL`, checks the result and sets its page
/// boxes. Blocks until all that is done.
///
/// Throws `FileSystemError` when Ghostscript cannot be started, `PrintPrepError::ghostscriptFailed`
/// with its console lines when it exits with another status than 0, and with a line more when the
/// result is not right (`NativeResultCheck`); what that check throws over the input, what `options`
/// throws, and what `PDFBoxPatcher::applyPrintBoxes` throws. A failed run may leave a file at
/// `outputURL`, which should therefore be a passing name.
///
/// A stop request ends Ghostscript with all that it started, and the check; the boxes are then not
/// set any more. Throws `OperationStopped`.
Result convertToCMYKSync(const std::filesystem::path& ghostscriptURL,
                         const std::filesystem::path& inputURL,
                         const std::filesystem::path& outputURL,
                         const std::filesystem::path& profileURL, const PrintSettings& settings,
                         const std::stop_token& stop = {});

/// The same on a thread of its own. The future gives the result or the error; dropping it does not
/// wait.
std::future<Result> convertToCMYK(std::filesystem::path ghostscriptURL,
                                  std::filesystem::path inputURL, std::filesystem::path outputURL,
                                  std::filesystem::path profileURL, PrintSettings settings,
                                  std::stop_token stop = {});

} // namespace Bleedwise::Ghostscript
