#pragma once

#include "PrintPrep/PrintSettings.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace Bleedwise {

/// Finds out whether a native conversion's result is right, because Ghostscript reports success
/// whatever becomes of the pages: one check for one conversion.
///
/// It draws the pages of the input, placed as they are to be placed, and those of the result with
/// the program's own renderer, small, and compares what they look like. Those of the input are
/// drawn on a thread of the check's own while Ghostscript works. What the renderer cannot read, it
/// does not judge.
///
/// Nothing is written. A stop request is answered by `OperationStopped`. The thread and the
/// renderers end with the object, which blocks until they have.
class NativeResultCheck {
public:
    /// Opens the input and reads its pages' boxes.
    ///
    /// Throws `PrintPrepError::couldNotOpenPDF` when the file has no PDF header near its beginning
    /// or cannot be read and begins as PostScript does, since Ghostscript would execute it; or when
    /// it needs a password; `PrintPrepError::couldNotCreateCMYKOutput` when there is no memory for
    /// the profile. Throws `FileSystemError` when no renderer can be started. Another file that
    /// cannot be read is left for Ghostscript to report.
    NativeResultCheck(const std::filesystem::path& inputURL,
                      const std::filesystem::path& profileURL, const PrintSettings& settings,
                      std::stop_token stop = {});
    NativeResultCheck(const NativeResultCheck&) = delete;
    NativeResultCheck& operator=(const NativeResultCheck&) = delete;
    ~NativeResultCheck();

    /// Whether the media box of any page of the input starts elsewhere than at 0 0.
    bool hasMovedOrigin() const;

    /// Begins to draw the pages of the input. To be called once at most; without it, `fault` draws
    /// them.
    void start();

    /// What is wrong with the result, whose page boxes need not be set, as a line for a person,
    /// which also says what to do; nothing when it is right as far as can be told.
    ///
    /// The result can be read if the input can, has as many pages as that can deliver, each looks
    /// as it should, and paints in process inks, grey and spot colours described by these.
    std::optional<std::string> fault(const std::filesystem::path& outputURL);

    /// What `fault` found nothing wrong with only because the renderer failed over it, as lines for
    /// a person; none for an input that is no readable PDF.
    std::vector<std::string> gaps() const;

private:
    class Check;
    std::unique_ptr<Check> check_;
};

} // namespace Bleedwise
