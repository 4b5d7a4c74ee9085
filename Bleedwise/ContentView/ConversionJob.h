#pragma once

#include "ContentView/DimensionField.h"

#include <filesystem>
#include <optional>

#include <QObject>
#include <QString>
#include <QUuid>
#include <QtQml/qqmlregistration.h>

namespace Bleedwise {

/// One queued PDF. The sizes are in mm and stay texts, as typed, until they are converted.
struct ConversionJob {
    Q_GADGET

public:
    enum class State { Pending, Converting, Completed, Failed };
    Q_ENUM(State)

    /// Identity of the row and of the selection.
    QUuid id = QUuid::createUuid();
    /// As it was added, absolute.
    std::filesystem::path inputURL;
    /// What the job began with; never changes.
    QString originalWidthMM;
    QString originalHeightMM;
    QString originalBleedMM;
    /// What a person made of it.
    QString widthMM;
    QString heightMM;
    QString bleedMM;
    State state = State::Pending;
    /// The finished file of a completed job.
    std::optional<std::filesystem::path> outputURL;
    /// Why the job failed. May be megabytes long: it holds what Ghostscript said.
    std::optional<QString> errorMessage;

    /// The last component of the input's path, as it can be shown.
    QString fileName() const;

    const QString& current(DimensionField::Value field) const;
    void setCurrent(DimensionField::Value field, const QString& text);
    /// Whether the field no longer says the size that the job began with.
    bool isEdited(DimensionField::Value field) const;
};

/// A job's summary in words: its error message, or its sizes as in "210×297 mm · 3 mm bleed".
QString jobSummary(const ConversionJob& job);

/// The name under which QML knows the states, as in `ConversionJob.Pending`.
namespace ConversionJobStates {
Q_NAMESPACE
QML_FOREIGN_NAMESPACE(Bleedwise::ConversionJob)
QML_NAMED_ELEMENT(ConversionJob)
} // namespace ConversionJobStates

} // namespace Bleedwise
