#pragma once

#include <QAbstractListModel>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

namespace Bleedwise {

/// The console: lines of text, of which there may be hundreds of thousands. Main thread.
class LogLinesModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The window's view model owns it.")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role { LineRole = Qt::UserRole };

    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    int count() const { return static_cast<int>(lines_.size()); }
    const QStringList& lines() const { return lines_; }
    /// The lines from `first` to `last` as one text, such as for the clipboard. Rows outside the
    /// console are left out.
    Q_INVOKABLE QString text(int first, int last) const;

    void append(const QString& line);
    void append(const QStringList& lines);
    void clear();

signals:
    void countChanged();

private:
    QStringList lines_;
};

} // namespace Bleedwise
