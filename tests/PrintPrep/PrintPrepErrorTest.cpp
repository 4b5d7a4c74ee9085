#include "PrintPrep/PrintPrepError.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Case = PrintPrepError::Case;

TEST(PrintPrepError, ShowsAMultiLineGhostscriptLogBehindTheFirstLine) {
    EXPECT_EQ(PrintPrepError::ghostscriptFailed("one\ntwo\nthree").errorDescription(),
              "Ghostscript failed.\none\ntwo\nthree");
}

TEST(PrintPrepError, TrimsNothingFromTheGhostscriptLog) {
    EXPECT_EQ(PrintPrepError::ghostscriptFailed(" \n text \n").errorDescription(),
              "Ghostscript failed.\n \n text \n");
}

TEST(PrintPrepError, EndsInALineFeedWhenGhostscriptSaidNothing) {
    EXPECT_EQ(PrintPrepError::ghostscriptFailed("").errorDescription(), "Ghostscript failed.\n");
}

TEST(PrintPrepError, HasAFixedMessageForEachCaseWithoutAText) {
    struct Row {
        PrintPrepError error;
        Case errorCase;
        std::string message;
    };
    const std::vector<Row> rows = {
        {PrintPrepError::couldNotOpenPDF(), Case::couldNotOpenPDF, "Could not open the input PDF."},
        {PrintPrepError::couldNotCreateOutput(), Case::couldNotCreateOutput,
         "Could not create the prepared PDF."},
        {PrintPrepError::couldNotCreateCMYKOutput(), Case::couldNotCreateCMYKOutput,
         "Could not create the fallback CMYK raster output."},
        {PrintPrepError::couldNotPatchPDFBoxes(), Case::couldNotPatchPDFBoxes,
         "Could not patch the final PDF page boxes."},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.error.errorDescription(), row.message);
        EXPECT_EQ(row.error.errorCase(), row.errorCase) << row.message;
    }
}

TEST(PrintPrepError, ListsItsCasesInAFixedOrder) {
    EXPECT_LT(Case::ghostscriptFailed, Case::couldNotOpenPDF);
    EXPECT_LT(Case::couldNotOpenPDF, Case::couldNotCreateOutput);
    EXPECT_LT(Case::couldNotCreateOutput, Case::couldNotCreateCMYKOutput);
    EXPECT_LT(Case::couldNotCreateCMYKOutput, Case::couldNotPatchPDFBoxes);
}

TEST(PrintPrepError, IsCaughtAsALocalizedErrorWithTheSameText) {
    try {
        throw PrintPrepError::ghostscriptFailed("text");
    } catch (const LocalizedError& error) {
        EXPECT_STREQ(error.what(), "Ghostscript failed.\ntext");
    }
}

} // namespace
} // namespace Bleedwise
