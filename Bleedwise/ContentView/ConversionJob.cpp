#include "ContentView/ConversionJob.h"

#include "ContentView/DimensionText.h"
#include "ContentView/FileURL.h"

namespace Bleedwise {
namespace {

using Field = DimensionField::Value;

/// A field's text now and at the beginning.
struct Members {
    QString ConversionJob::*current;
    QString ConversionJob::*original;
};

Members members(Field field) {
    switch (field) {
    case Field::Width:
        return {&ConversionJob::widthMM, &ConversionJob::originalWidthMM};
    case Field::Height:
        return {&ConversionJob::heightMM, &ConversionJob::originalHeightMM};
    case Field::Bleed:
        break;
    }
    return {&ConversionJob::bleedMM, &ConversionJob::originalBleedMM};
}

} // namespace

QString ConversionJob::fileName() const {
    return FileURL::displayText(inputURL.filename().native());
}

const QString& ConversionJob::current(Field field) const {
    return this->*members(field).current;
}

void ConversionJob::setCurrent(Field field, const QString& text) {
    this->*members(field).current = text;
}

bool ConversionJob::isEdited(Field field) const {
    const auto [current, original] = members(field);
    return !DimensionText::dimensionValuesMatch(this->*original, this->*current);
}

QString jobSummary(const ConversionJob& job) {
    if (job.errorMessage)
        return *job.errorMessage;
    return job.widthMM + QStringLiteral("×") + job.heightMM + QStringLiteral(" mm · ") +
           job.bleedMM + QStringLiteral(" mm bleed");
}

} // namespace Bleedwise
