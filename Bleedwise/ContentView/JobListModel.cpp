#include "ContentView/JobListModel.h"

#include "ContentView/FileURL.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Bleedwise {
namespace {

using Field = DimensionField::Value;
using State = ConversionJob::State;

std::string key(const std::filesystem::path& inputURL) {
    return FileURL::standardized(inputURL).native();
}

QList<int> rolesOf(Field field) {
    switch (field) {
    case Field::Width:
        return {JobListModel::WidthMMRole, JobListModel::WidthEditedRole,
                JobListModel::SummaryRole};
    case Field::Height:
        return {JobListModel::HeightMMRole, JobListModel::HeightEditedRole,
                JobListModel::SummaryRole};
    case Field::Bleed:
        break;
    }
    return {JobListModel::BleedMMRole, JobListModel::BleedEditedRole, JobListModel::SummaryRole};
}

} // namespace

int JobListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : count();
}

QVariant JobListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= count())
        return {};
    const ConversionJob& job = at(index.row());
    switch (role) {
    case JobIDRole:
        return job.id;
    case Qt::DisplayRole:
    case FileNameRole:
        return job.fileName();
    case WidthMMRole:
        return job.widthMM;
    case HeightMMRole:
        return job.heightMM;
    case BleedMMRole:
        return job.bleedMM;
    case WidthEditedRole:
        return job.isEdited(Field::Width);
    case HeightEditedRole:
        return job.isEdited(Field::Height);
    case BleedEditedRole:
        return job.isEdited(Field::Bleed);
    case StateRole:
        return QVariant::fromValue(job.state);
    case OutputURLRole:
        return job.outputURL ? FileURL::url(*job.outputURL) : QUrl();
    case ErrorMessageRole:
        return job.errorMessage.value_or(QString());
    case SummaryRole:
        return jobSummary(job);
    case IsSelectedRole:
        return job.id == selectedJobID_;
    case ShowsDividerRole:
        return shouldShowDivider(index.row());
    default:
        return {};
    }
}

QHash<int, QByteArray> JobListModel::roleNames() const {
    return {
        {JobIDRole, "jobID"},
        {FileNameRole, "fileName"},
        {WidthMMRole, "widthMM"},
        {HeightMMRole, "heightMM"},
        {BleedMMRole, "bleedMM"},
        {WidthEditedRole, "widthEdited"},
        {HeightEditedRole, "heightEdited"},
        {BleedEditedRole, "bleedEdited"},
        {StateRole, "state"},
        {OutputURLRole, "outputURL"},
        {ErrorMessageRole, "errorMessage"},
        {SummaryRole, "summary"},
        {IsSelectedRole, "isSelected"},
        {ShowsDividerRole, "showsDivider"},
    };
}

std::optional<int> JobListModel::rowOf(QUuid id) const {
    const auto found =
        std::find_if(jobs_.begin(), jobs_.end(), [&](const auto& job) { return job.id == id; });
    if (found == jobs_.end())
        return std::nullopt;
    return static_cast<int>(found - jobs_.begin());
}

bool JobListModel::holds(const std::filesystem::path& inputURL) const {
    return paths_.contains(key(inputURL));
}

void JobListModel::append(std::vector<ConversionJob> jobs) {
    if (jobs.empty())
        return;
    const int first = count();
    beginInsertRows({}, first, first + static_cast<int>(jobs.size()) - 1);
    for (const ConversionJob& job : jobs) {
        paths_.insert(key(job.inputURL));
        countState(job.state, 1);
    }
    std::move(jobs.begin(), jobs.end(), std::back_inserter(jobs_));
    endInsertRows();
    announce(first - 1, first - 1, {ShowsDividerRole}); // no longer the last
    emit countChanged();
    emit statesChanged();
    emit selectedRowChanged();
}

void JobListModel::remove(QUuid id) {
    bool removed = false;
    while (const std::optional<int> row = rowOf(id)) {
        removed = true;
        beginRemoveRows({}, *row, *row);
        paths_.erase(paths_.find(key(at(*row).inputURL)));
        countState(at(*row).state, -1);
        jobs_.erase(jobs_.begin() + *row);
        endRemoveRows();
        announce(*row - 1, *row - 1, {ShowsDividerRole});
    }
    if (!removed)
        return;
    emit countChanged();
    emit statesChanged();
    emit selectedRowChanged();
}

void JobListModel::setText(int row, Field field, const QString& text) {
    ConversionJob& job = jobs_.at(static_cast<std::size_t>(row));
    if (job.current(field) == text)
        return;
    job.setCurrent(field, text);
    announce(row, row, rolesOf(field));
    emit textChanged(row, field);
}

void JobListModel::setState(int row, State state) {
    ConversionJob& job = jobs_.at(static_cast<std::size_t>(row));
    if (job.state == state)
        return;
    countState(job.state, -1);
    countState(state, 1);
    job.state = state;
    announce(row, row, {StateRole});
    emit statesChanged();
}

void JobListModel::setOutputURL(int row, const std::optional<std::filesystem::path>& outputURL) {
    ConversionJob& job = jobs_.at(static_cast<std::size_t>(row));
    if (job.outputURL == outputURL)
        return;
    job.outputURL = outputURL;
    announce(row, row, {OutputURLRole});
}

void JobListModel::setErrorMessage(int row, const std::optional<QString>& message) {
    ConversionJob& job = jobs_.at(static_cast<std::size_t>(row));
    if (job.errorMessage == message)
        return;
    job.errorMessage = message;
    announce(row, row, {ErrorMessageRole, SummaryRole});
}

void JobListModel::resetResults() {
    if (jobs_.empty())
        return;
    for (ConversionJob& job : jobs_) {
        job.state = State::Pending;
        job.outputURL.reset();
        job.errorMessage.reset();
    }
    completedCount_ = 0;
    failedCount_ = 0;
    announce(0, count() - 1, {StateRole, OutputURLRole, ErrorMessageRole, SummaryRole});
    emit statesChanged();
}

void JobListModel::setSelectedJobID(QUuid id) {
    if (id == selectedJobID_)
        return;
    const std::optional<int> before = selectedJobIndex();
    selectedJobID_ = id;
    for (const std::optional<int>& row : {before, selectedJobIndex()}) {
        if (!row)
            continue;
        announce(*row - 1, *row - 1, {ShowsDividerRole});
        announce(*row, *row, {IsSelectedRole, ShowsDividerRole});
    }
    emit selectedJobIDChanged();
    emit selectedRowChanged();
}

std::optional<int> JobListModel::selectedJobIndex() const {
    return selectedJobID_.isNull() ? std::nullopt : rowOf(selectedJobID_);
}

bool JobListModel::shouldShowDivider(int afterRow) const {
    if (afterRow < 0 || afterRow >= count() - 1)
        return false;
    return at(afterRow).id != selectedJobID_ && at(afterRow + 1).id != selectedJobID_;
}

bool JobListModel::allCompleted() const {
    return !jobs_.empty() && completedCount_ == count();
}

bool JobListModel::anyFailed() const {
    return failedCount_ > 0;
}

/// Rows outside the list are left out.
void JobListModel::announce(int firstRow, int lastRow, const QList<int>& roles) {
    if (firstRow >= 0 && lastRow < count())
        emit dataChanged(index(firstRow), index(lastRow), roles);
}

void JobListModel::countState(State state, int change) {
    if (state == State::Completed)
        completedCount_ += change;
    if (state == State::Failed)
        failedCount_ += change;
}

} // namespace Bleedwise
