#include "PrintPrep/PrintPrepError.h"

#include <utility>

namespace Bleedwise {

PrintPrepError::PrintPrepError(Case errorCase, std::string description)
    : LocalizedError(std::move(description)), case_(errorCase) {}

PrintPrepError PrintPrepError::ghostscriptFailed(const std::string& text) {
    return {Case::ghostscriptFailed, "Ghostscript failed.\n" + text};
}

PrintPrepError PrintPrepError::couldNotOpenPDF() {
    return {Case::couldNotOpenPDF, "Could not open the input PDF."};
}

PrintPrepError PrintPrepError::couldNotCreateOutput() {
    return {Case::couldNotCreateOutput, "Could not create the prepared PDF."};
}

PrintPrepError PrintPrepError::couldNotCreateCMYKOutput() {
    return {Case::couldNotCreateCMYKOutput, "Could not create the fallback CMYK raster output."};
}

PrintPrepError PrintPrepError::couldNotPatchPDFBoxes() {
    return {Case::couldNotPatchPDFBoxes, "Could not patch the final PDF page boxes."};
}

} // namespace Bleedwise
