#pragma once

#include <QAbstractItemModel>
#include <QObject>
#include <QPointer>
#include <QQuickTextDocument>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

namespace Bleedwise {

/// Writes the lines of a list model into the document of a text item, one paragraph each, so that
/// they can be selected and copied across lines.
///
/// New lines are written in portions, one a turn of the event loop: a run may log ten thousand at
/// once, and the window has to stay fluid. The model may only grow at its end, or be emptied.
/// Main thread.
class ConsoleText : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QQuickTextDocument* document READ document WRITE setDocument NOTIFY documentChanged)
    Q_PROPERTY(QAbstractItemModel* lines READ lines WRITE setLines NOTIFY linesChanged)
    /// The room between two lines, in pixels.
    Q_PROPERTY(double lineSpacing READ lineSpacing WRITE setLineSpacing NOTIFY lineSpacingChanged)
    /// Whether the document is being written at this moment.
    Q_PROPERTY(bool feeding READ isFeeding NOTIFY feedingChanged)

public:
    explicit ConsoleText(QObject* parent = nullptr);

    QQuickTextDocument* document() const { return document_; }
    void setDocument(QQuickTextDocument* document);
    QAbstractItemModel* lines() const { return lines_; }
    void setLines(QAbstractItemModel* lines);
    double lineSpacing() const { return lineSpacing_; }
    void setLineSpacing(double spacing);
    bool isFeeding() const { return feeding_; }

signals:
    void documentChanged();
    void linesChanged();
    void lineSpacingChanged();
    void feedingChanged();

private:
    void startAgain();
    void feed();
    void setFeeding(bool feeding);

    QPointer<QQuickTextDocument> document_;
    QPointer<QAbstractItemModel> lines_;
    double lineSpacing_ = 0;
    bool feeding_ = false;
    /// How many of the lines are in the document.
    int written_ = 0;
    QTimer nextPortion_;
};

} // namespace Bleedwise
