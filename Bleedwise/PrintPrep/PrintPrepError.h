#pragma once

#include "PrintPrep/platform/LocalizedError.h"

#include <string>

namespace Bleedwise {

/// A failure of the engine itself; failures of the file system and of starting a program are
/// `FileSystemError`.
class PrintPrepError : public LocalizedError {
public:
    enum class Case {
        ghostscriptFailed,
        couldNotOpenPDF,
        couldNotCreateOutput,
        couldNotCreateCMYKOutput,
        couldNotPatchPDFBoxes,
    };

    /// `text` is what Ghostscript said, or the reason why it cannot be used.
    static PrintPrepError ghostscriptFailed(const std::string& text);
    static PrintPrepError couldNotOpenPDF();
    static PrintPrepError couldNotCreateOutput();
    static PrintPrepError couldNotCreateCMYKOutput();
    static PrintPrepError couldNotPatchPDFBoxes();

    Case errorCase() const noexcept { return case_; }

private:
    PrintPrepError(Case errorCase, std::string description);

    Case case_;
};

} // namespace Bleedwise
