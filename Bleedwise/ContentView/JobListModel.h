#pragma once

#include "ContentView/ConversionJob.h"

#include <filesystem>
#include <optional>
#include <unordered_set>
#include <vector>

#include <QAbstractListModel>

namespace Bleedwise {

/// The queued jobs in the order in which they are shown, and which of them is selected.
///
/// Each change is announced by itself, with the roles that it touches, so that a long list redraws
/// no more than what changed. Main thread.
class JobListModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The window's view model owns it.")
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    /// The row of the selected job, -1 without one.
    Q_PROPERTY(int selectedRow READ selectedRow NOTIFY selectedRowChanged)

public:
    enum Role {
        JobIDRole = Qt::UserRole,
        FileNameRole,
        WidthMMRole,
        HeightMMRole,
        BleedMMRole,
        WidthEditedRole,
        HeightEditedRole,
        BleedEditedRole,
        StateRole,
        OutputURLRole,
        ErrorMessageRole,
        SummaryRole,
        IsSelectedRole,
        ShowsDividerRole,
    };

    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    int count() const { return static_cast<int>(jobs_.size()); }
    const ConversionJob& at(int row) const { return jobs_.at(static_cast<std::size_t>(row)); }
    const std::vector<ConversionJob>& jobs() const { return jobs_; }
    /// The first row of the job; absent when it is not in the list.
    std::optional<int> rowOf(QUuid id) const;

    /// Whether a file is queued, however its path is spelled.
    bool holds(const std::filesystem::path& inputURL) const;

    void append(std::vector<ConversionJob> jobs);
    void remove(QUuid id);

    void setText(int row, DimensionField::Value field, const QString& text);
    void setState(int row, ConversionJob::State state);
    void setOutputURL(int row, const std::optional<std::filesystem::path>& outputURL);
    void setErrorMessage(int row, const std::optional<QString>& message);
    /// Makes every job pending, without output and error.
    void resetResults();

    /// Null when no job is selected.
    QUuid selectedJobID() const { return selectedJobID_; }
    void setSelectedJobID(QUuid id);
    /// The row of the selected job; absent when the list holds no such job.
    std::optional<int> selectedJobIndex() const;
    int selectedRow() const { return selectedJobIndex().value_or(-1); }

    /// Whether a line is drawn below a row. Not below the last one, and not beside the selected
    /// one, which is drawn on a ground of its own.
    bool shouldShowDivider(int afterRow) const;

    /// Whether there are jobs and all are completed.
    bool allCompleted() const;
    bool anyFailed() const;

signals:
    void countChanged();
    void selectedJobIDChanged();
    void selectedRowChanged();
    /// The text in a field of a job, now.
    void textChanged(int row, DimensionField::Value field);
    void statesChanged();

private:
    void announce(int firstRow, int lastRow, const QList<int>& roles);
    void countState(ConversionJob::State state, int change);

    std::vector<ConversionJob> jobs_;
    /// Standardised input paths; a file may be queued more than once.
    std::unordered_multiset<std::string> paths_;
    QUuid selectedJobID_;
    int completedCount_ = 0;
    int failedCount_ = 0;
};

} // namespace Bleedwise
