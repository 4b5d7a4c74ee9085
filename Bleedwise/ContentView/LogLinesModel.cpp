#include "ContentView/LogLinesModel.h"

#include <algorithm>

namespace Bleedwise {

int LogLinesModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : count();
}

QVariant LogLinesModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= count())
        return {};
    if (role != LineRole && role != Qt::DisplayRole)
        return {};
    return lines_.at(index.row());
}

QHash<int, QByteArray> LogLinesModel::roleNames() const {
    return {{LineRole, "line"}};
}

QString LogLinesModel::text(int first, int last) const {
    const int start = std::max(first, 0);
    return lines_.mid(start, std::max(0, last - start + 1)).join('\n');
}

void LogLinesModel::append(const QString& line) {
    append(QStringList(line));
}

void LogLinesModel::append(const QStringList& lines) {
    if (lines.isEmpty())
        return;
    beginInsertRows({}, count(), count() + static_cast<int>(lines.size()) - 1);
    lines_ += lines;
    endInsertRows();
    emit countChanged();
}

void LogLinesModel::clear() {
    if (lines_.isEmpty())
        return;
    beginRemoveRows({}, 0, count() - 1);
    lines_.clear();
    endRemoveRows();
    emit countChanged();
}

} // namespace Bleedwise
