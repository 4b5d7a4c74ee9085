#pragma once

#include <tuple>

#include <QAbstractItemModel>
#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QString>
#include <QtQml/qqmlregistration.h>

namespace Bleedwise {

/// What is selected of the console, across its lines. The view shows a few of the lines at a time,
/// so the selection cannot be theirs.
///
/// A place is the number of a line and a position in it, in UTF-16 units; one behind the end of the
/// line counts as its end. The lines are the role "line" of a list model, which may only grow at
/// its end, or be emptied: that ends the selection. Main thread.
class ConsoleSelection : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QAbstractItemModel* lines READ lines WRITE setLines NOTIFY linesChanged)
    Q_PROPERTY(bool isEmpty READ isEmpty NOTIFY changed)
    /// The line in which the selection was last extended, -1 before.
    Q_PROPERTY(int currentLine READ currentLine NOTIFY changed)

public:
    using QObject::QObject;

    QAbstractItemModel* lines() const { return lines_; }
    void setLines(QAbstractItemModel* lines);

    bool isEmpty() const { return anchor_ == current_; }
    int currentLine() const { return current_.line; }

    /// Puts both ends at a place.
    Q_INVOKABLE void begin(int line, int position);
    /// Moves the end that is not the anchor.
    Q_INVOKABLE void extendTo(int line, int position);
    /// Moves that end by whole lines, downwards where `count` is positive, and takes in the line
    /// that it comes from.
    Q_INVOKABLE void extendByLines(int count);
    Q_INVOKABLE void selectWord(int line, int position);
    Q_INVOKABLE void selectAll();
    Q_INVOKABLE void clear();

    /// Where the selected part of a line begins (x) and ends (y); the end is that of the line at
    /// the most. Both 0 when nothing of it is selected.
    Q_INVOKABLE QPoint rangeIn(int line) const;

    /// The selected text, a line feed between lines.
    QString text() const;
    /// Puts the selected text on the clipboard, if there is any.
    Q_INVOKABLE void copy() const;

signals:
    void linesChanged();
    void changed();

private:
    struct Place {
        int line = -1;
        int position = 0;

        friend bool operator==(const Place&, const Place&) = default;
        friend bool operator<(const Place& one, const Place& other) {
            return std::tie(one.line, one.position) < std::tie(other.line, other.position);
        }
    };

    int lineCount() const { return lines_ ? lines_->rowCount() : 0; }
    QString line(int number) const;
    Place inside(Place place) const;
    Place end() const;
    void set(Place anchor, Place current);

    QPointer<QAbstractItemModel> lines_;
    Place anchor_;
    Place current_;
};

} // namespace Bleedwise
