#include "ContentView/ConversionJob.h"

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Field = DimensionField::Value;

ConversionJob jobOf(const char* width, const char* height, const char* bleed) {
    ConversionJob job;
    job.inputURL = "/folder/a.pdf";
    job.originalWidthMM = job.widthMM = width;
    job.originalHeightMM = job.heightMM = height;
    job.originalBleedMM = job.bleedMM = bleed;
    return job;
}

TEST(ConversionJob, IsPendingAtFirst) {
    const ConversionJob job;
    EXPECT_EQ(job.state, ConversionJob::State::Pending);
    EXPECT_EQ(job.outputURL, std::nullopt);
    EXPECT_EQ(job.errorMessage, std::nullopt);
}

TEST(ConversionJob, HasAnIdentityOfItsOwn) {
    const ConversionJob one;
    const ConversionJob other;
    EXPECT_FALSE(one.id.isNull());
    EXPECT_NE(one.id, other.id);
}

TEST(ConversionJob, IsNamedAfterItsFile) {
    EXPECT_EQ(jobOf("1", "2", "3").fileName(), "a.pdf");
}

TEST(ConversionJob, GivesAndTakesTheTextOfEachField) {
    ConversionJob job = jobOf("1", "2", "3");
    job.setCurrent(Field::Width, "10");
    job.setCurrent(Field::Height, "20");
    job.setCurrent(Field::Bleed, "30");
    EXPECT_EQ(job.widthMM, "10");
    EXPECT_EQ(job.heightMM, "20");
    EXPECT_EQ(job.bleedMM, "30");
    EXPECT_EQ(job.current(Field::Width), "10");
    EXPECT_EQ(job.current(Field::Height), "20");
    EXPECT_EQ(job.current(Field::Bleed), "30");
}

TEST(ConversionJob, KeepsWhatItBeganWith) {
    ConversionJob job = jobOf("1", "2", "3");
    for (const Field field : {Field::Width, Field::Height, Field::Bleed})
        job.setCurrent(field, "9");
    EXPECT_EQ(job.originalWidthMM, "1");
    EXPECT_EQ(job.originalHeightMM, "2");
    EXPECT_EQ(job.originalBleedMM, "3");
}

TEST(ConversionJob, IsEditedInTheFieldThatSaysAnotherSize) {
    for (const Field edited : {Field::Width, Field::Height, Field::Bleed}) {
        ConversionJob job = jobOf("1", "2", "3");
        job.setCurrent(edited, "9");
        for (const Field field : {Field::Width, Field::Height, Field::Bleed})
            EXPECT_EQ(job.isEdited(field), field == edited);
    }
}

TEST(ConversionJob, IsNotEditedByAnotherSpellingOfItsSize) {
    ConversionJob job = jobOf("1", "2", "3");
    job.setCurrent(Field::Bleed, " 3,00 ");
    EXPECT_FALSE(job.isEdited(Field::Bleed));
}

TEST(JobSummary, SaysTheSizesAsTheyWereTyped) {
    EXPECT_EQ(jobSummary(jobOf("210", "297,0", "abc")), "210×297,0 mm · abc mm bleed");
}

TEST(JobSummary, SaysNothingButTheErrorMessage) {
    ConversionJob job = jobOf("210", "297", "3");
    job.errorMessage = "Could not open the input PDF.";
    EXPECT_EQ(jobSummary(job), "Could not open the input PDF.");
}

} // namespace
} // namespace Bleedwise
